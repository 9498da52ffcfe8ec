#include "Application.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "DropArea.h"
#include "ImportExportSheets.h"
#include "PasswordMakerWindow.h"
#include "PasswordSheet.h"
#include "PlatformServices.h"
#include "RecordTableModel.h"
#include "HealthSheet.h"
#include "CategoryView.h"

#include "document/PasswordTexts.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "foundation/KeyedArchive.h"

#include <QApplication>
#include <QCheckBox>
#include <QListWidget>
#include <QMenu>
#include <QToolButton>
#include <QHeaderView>
#include <QToolBar>
#include <QScreen>
#include <QClipboard>
#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QLabel>
#include <QComboBox>
#include <QSplitter>
#include <QTableWidget>
#include <QTreeWidget>
#include <QFile>
#include <QFileInfo>
#include <QIcon>
#include <QImage>
#include <QPrinter>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include "support/WindowDocuments.h"

#include "support/ModalScript.h"

#include <deque>

using namespace qv;
using namespace qv::app;
using qv::test::contents;
using qv::test::waitFor;
using qv::test::discard;
using qv::test::ModalScript;
using qv::test::clickButton;

namespace {

ModalScript::Step typePasswords(const QString& a, const QString& b) {
    return [a, b](QWidget* w) {
        auto* sheet = qobject_cast<PasswordSheet*>(w);
        ASSERT_NE(sheet, nullptr);
        QTest::keyClicks(sheet->newField(), a);
        QTest::keyClicks(sheet->retypeField(), b);
        QTest::mouseClick(sheet->findChild<QPushButton*>(QStringLiteral("confirm")), Qt::LeftButton);
    };
}

// A document of `count` records in two categories, saved under "secret" as another session of
// the program left it.
void writeDocument(const QString& path, int count) {
    MyDocument doc;
    doc.prepareNewDocument();
    doc.myCategoryArray.append(Value(RecordModel::newCategory(QStringLiteral("Work"), 2)));
    for (int i = 0; i < count; ++i) {
        Dictionary r = RecordModel::newRecord(0);
        r.set(keys::name, Value(QStringLiteral("Record %1").arg(i, 3, 10, QLatin1Char('0'))));
        r.set(keys::password, Value(QStringLiteral("pw%1").arg(i)));
        r.set(keys::categoryPtr, doc.myCategoryArray.at(i % 2));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = QStringLiteral("secret");
    EXPECT_TRUE(DocumentFile::writeAtomically(path, doc.dataOfType(QString()).value()).ok());
}

void unlock(DocumentWindow* w, const QString& password = QStringLiteral("secret")) {
    QTest::keyClicks(w->passwordToDecryptField(), password);
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
}

// The document written by writeDocument, opened and unlocked, with autosaving off.
DocumentWindow* openWithRecords(DocumentController& controller, const QString& path, int count) {
    writeDocument(path, count);
    controller.setAutosavingDelay(0);
    DocumentWindow* w = controller.openDocument(path);
    if (w) unlock(w);
    return w;
}

DocumentWindow* showNew(DocumentController& controller) {
    DocumentWindow* w = controller.newDocument();
    w->activateWindow();
    QApplication::setActiveWindow(w);
    return w;
}

}  // namespace

TEST(DocumentWindow, NewDocumentProtectSaveReopenAndUnlock) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    DocumentController controller;

    // Cancelling the mandatory sheet closes the window that asked.
    ModalScript cancel({[](QWidget* w) {
        QTest::mouseClick(w->findChild<QPushButton*>(QStringLiteral("cancel")), Qt::LeftButton);
    }});
    showNew(controller);
    ASSERT_TRUE(waitFor([&] { return controller.documents().empty(); }));
    EXPECT_EQ(cancel.seen.value(0), QStringLiteral("passwordSheet"));

    // Five characters are refused, six accepted.
    ModalScript script({typePasswords(QStringLiteral("12345"), QStringLiteral("12345")),
                        clickButton(QStringLiteral("Retry")),
                        [](QWidget* w) {
                            auto* sheet = qobject_cast<PasswordSheet*>(w);
                            ASSERT_NE(sheet, nullptr);
                            // The fields kept what was typed; make it six characters.
                            EXPECT_EQ(sheet->newField()->text(), QStringLiteral("12345"));
                            EXPECT_EQ(sheet->retypeField()->text(), QStringLiteral("12345"));
                            for (QLineEdit* e : {sheet->newField(), sheet->retypeField()}) {
                                e->end(false);
                                QTest::keyClicks(e, QStringLiteral("6"));
                            }
                            QTest::mouseClick(sheet->findChild<QPushButton*>(QStringLiteral("confirm")), Qt::LeftButton);
                        },
                        clickButton(QStringLiteral("OK"))});
    DocumentWindow* w = showNew(controller);
    ASSERT_TRUE(waitFor([&] { return script.done() && !QApplication::activeModalWidget(); }))
        << script.seen.join(QStringLiteral(" | ")).toStdString();
    EXPECT_EQ(script.seen.value(1), texts::mandatoryTooShortMessage);
    EXPECT_EQ(script.seen.value(3), texts::passwordAcceptedMessage);
    EXPECT_EQ(w->document().plainPassword, QStringLiteral("123456"));

    w->setFilePath(path);
    ASSERT_TRUE(controller.saveDocument(w));
    EXPECT_FALSE(w->isWindowModified());
    w->close();
    ASSERT_TRUE(waitFor([&] { return controller.documents().empty(); }));

    DocumentWindow* again = controller.openDocument(path);
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(again->document().isEncrypted());
    EXPECT_FALSE(again->action(QStringLiteral("saveDocument:"))->isEnabled());
    unlock(again, QStringLiteral("123456"));
    EXPECT_FALSE(again->document().isEncrypted());
    EXPECT_TRUE(again->recordTable()->isVisible());
    EXPECT_TRUE(again->action(QStringLiteral("saveDocument:"))->isEnabled());
    again->close();
}

TEST(DocumentWindow, AutosavesInPlaceButNeverWhileLocked) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("auto.qvane"));
    writeDocument(path, 0);
    DocumentController controller;
    controller.setAutosavingDelay(0.05);
    DocumentWindow* w = controller.openDocument(path);
    ASSERT_NE(w, nullptr);
    const QByteArray before = contents(path);

    // Locked: an edit mark is dropped and nothing is written.
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    QTest::qWait(200);
    EXPECT_EQ(contents(path), before);

    unlock(w);
    ASSERT_FALSE(w->document().isEncrypted());
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    EXPECT_TRUE(w->isWindowModified());
    ASSERT_TRUE(waitFor([&] { return !w->document().isDocumentEdited(); }));
    EXPECT_NE(contents(path), before);  // new salt and IV at least
    EXPECT_FALSE(w->isWindowModified());
    EXPECT_TRUE(controller.recentDocuments().contains(path));
    w->close();
}

TEST(DocumentWindow, ATooNewFileIsRefusedWithItsAlert) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("future.qvane"));
    Dictionary root{{QStringLiteral("appversion"), Value::integer(40101)}};
    ASSERT_TRUE(DocumentFile::writeAtomically(path, KeyedArchiver::archivedDataWithRootObject(Value(root)).value()).ok());
    DocumentController controller;
    ModalScript script({clickButton(QStringLiteral("Cancel"))});
    EXPECT_EQ(controller.openDocument(path), nullptr);
    EXPECT_TRUE(script.done());
    EXPECT_EQ(script.seen.value(0),
              QStringLiteral("The document you requested to open was created with a more recent version of this application"));
    EXPECT_TRUE(controller.documents().empty());
}

// The refusals of both sheets are checked on the document's own; here the menus reach them and
// their effect shows in the window and the saved file.
TEST(DocumentWindow, LockThenChangePasswordFromTheMenus) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("lock.qvane"));
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, path, 0);
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->document().isEncrypted());
    w->document().emailArray.append(Value(Dictionary{{QStringLiteral("email"), Value("new@example.com")}}));
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);

    ModalScript confirm({clickButton(QStringLiteral("OK"))});
    w->action(QStringLiteral("lockDocument:"))->trigger();
    ASSERT_TRUE(waitFor([&] { return w->document().isEncrypted(); }));
    EXPECT_FALSE(w->action(QStringLiteral("saveDocument:"))->isEnabled());
    EXPECT_FALSE(w->action(QStringLiteral("lockDocument:"))->isEnabled());
    EXPECT_EQ(w->size(), w->minimumSize());
    unlock(w);
    EXPECT_FALSE(w->document().isEncrypted());
    EXPECT_EQ(w->document().emailArray.count(), 1);
    EXPECT_FALSE(w->isWindowModified());

    ModalScript accepted({[](QWidget* widget) {
                              auto* sheet = qobject_cast<PasswordSheet*>(widget);
                              ASSERT_NE(sheet, nullptr);
                              ASSERT_NE(sheet->previousField(), nullptr);
                              QTest::keyClicks(sheet->previousField(), QStringLiteral("secret"));
                              QTest::keyClicks(sheet->newField(), QStringLiteral("abcdef"));
                              QTest::keyClicks(sheet->retypeField(), QStringLiteral("abcdef"));
                              QTest::mouseClick(sheet->findChild<QPushButton*>(QStringLiteral("confirm")), Qt::LeftButton);
                          },
                          clickButton(QStringLiteral("OK"))});
    w->action(QStringLiteral("documentPassword:"))->trigger();
    ASSERT_TRUE(waitFor([&] { return accepted.done() && !QApplication::activeModalWidget(); }));
    EXPECT_EQ(accepted.seen.value(1), texts::passwordChangedMessage);
    EXPECT_EQ(w->document().plainPassword, QStringLiteral("abcdef"));
    EXPECT_TRUE(w->isWindowModified());

    // Saved, the old password no longer opens the file.
    ASSERT_TRUE(controller.saveDocument(w));
    MyDocument check;
    ASSERT_TRUE(check.readFromData(contents(path), QString()));
    check.plainPassword = QStringLiteral("secret");
    EXPECT_NE(check.Decript(), 0);
    check.plainPassword = QStringLiteral("abcdef");
    EXPECT_EQ(check.Decript(), 0);
    w->close();
}

TEST(Application, BackgroundLockArmsOnlyWhenAskedAndLocksSavedDocuments) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    MemoryUserDefaults* prefs = settings.get();
    Application quorvane(std::move(settings));
    quorvane.applicationDidResignActive();
    EXPECT_FALSE(quorvane.lockTimer().isArmed());  // off by default
    prefs->setObject(QStringLiteral("autolocBackgroundEnabled"), Value::boolean(true));
    quorvane.applicationDidResignActive();
    EXPECT_TRUE(quorvane.lockTimer().isArmed());
    quorvane.applicationDidBecomeActive();
    EXPECT_FALSE(quorvane.lockTimer().isArmed());

    QTemporaryDir dir;
    DocumentWindow* saved = openWithRecords(quorvane.documents(), dir.filePath(QStringLiteral("bg.qvane")), 0);
    ASSERT_NE(saved, nullptr);
    ASSERT_FALSE(saved->document().isEncrypted());
    DocumentWindow* untitled = quorvane.documents().newDocument();
    untitled->document().plainPassword = QStringLiteral("sixsix");  // protected but never saved

    quorvane.AutomaticLockAllOpenedDocuments();
    ASSERT_TRUE(waitFor([&] { return saved->document().isEncrypted(); }));
    EXPECT_FALSE(untitled->document().isEncrypted());
    saved->close();
    discard(untitled);
}

TEST(DocumentWindow, AddDuplicateDeleteUndoRedoThroughTheMenus) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("edit.qvane")), 3);
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->document().isEncrypted());
    auto trigger = [&](const char* name) {
        QAction* a = w->action(QLatin1String(name));
        EXPECT_TRUE(a != nullptr && a->isEnabled()) << name;
        if (a && a->isEnabled()) a->trigger();
    };
    w->recordTable()->selectRow(1);
    trigger("addRow:");
    EXPECT_EQ(w->document().myArray.count(), 4);
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 4);
    trigger("duplicateRow:");
    EXPECT_EQ(w->document().myArray.count(), 5);

    ModalScript confirm({clickButton(QStringLiteral("Delete"))});
    trigger("deleteRow:");
    EXPECT_TRUE(confirm.done());
    EXPECT_EQ(w->document().myArray.count(), 4);

    // The Edit menu reads its titles from the browser's undo manager.
    EXPECT_EQ(w->browser().undoManager().undoMenuItemTitle(), QStringLiteral("Undo Delete Record"));
    trigger("undo:");
    EXPECT_EQ(w->document().myArray.count(), 5);
    trigger("redo:");
    EXPECT_EQ(w->document().myArray.count(), 4);
    EXPECT_TRUE(w->isWindowModified());

    // With nothing selected, deleting is disabled; the check mark of "show secrets" follows its flag.
    w->recordTable()->clearSelection();
    w->browser().myArrayController().setSelectionIndexes({});
    w->refresh();
    EXPECT_FALSE(w->action(QStringLiteral("deleteRow:"))->isEnabled());
    trigger("showPasswordsInTable:");
    w->refresh();
    EXPECT_TRUE(w->action(QStringLiteral("showPasswordsInTable:"))->isChecked());
    EXPECT_EQ(w->recordTable()->model()->index(0, 4).data().toString().left(2), QStringLiteral("pw"));
    discard(w);
}

TEST(DocumentWindow, PrintsWholeRowsPerPage) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("print.qvane")), 200);
    ASSERT_NE(w, nullptr);
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    const QString pdf = qEnvironmentVariable("QV_PRINT_PDF", dir.filePath(QStringLiteral("table.pdf")));
    printer.setOutputFileName(pdf);
    printer.setPageSize(QPageSize(QPageSize::A4));
    const int pages = w->printTable(printer);
    EXPECT_GT(pages, 3);  // 200 rows do not fit on a few pages
    EXPECT_LT(pages, 20);
    EXPECT_GT(QFileInfo(pdf).size(), 1000);
    discard(w);
}

TEST(DocumentWindow, CategorySheetRenamesAndThePopupFollowsOnClose) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("cats.qvane")), 4);
    ASSERT_NE(w, nullptr);
    auto* popup = w->findChild<QComboBox*>(QStringLiteral("myActionPopup"));
    ASSERT_NE(popup, nullptr);
    ASSERT_EQ(popup->itemText(3), QStringLiteral("Work"));
    ModalScript script({[](QWidget* sheet) {
        auto* table = sheet->findChild<QTableWidget*>(QStringLiteral("myCategoryTableView"));
        ASSERT_NE(table, nullptr);
        table->item(1, 0)->setText(QStringLiteral("Office"));
        QTest::mouseClick(sheet->findChild<QPushButton*>(QStringLiteral("addCategory")), Qt::LeftButton);
        EXPECT_EQ(table->rowCount(), 3);
        for (QPushButton* b : sheet->findChildren<QPushButton*>())
            if (b->text() == QStringLiteral("Done")) QTest::mouseClick(b, Qt::LeftButton);
    }});
    w->action(QStringLiteral("editCategoriesSheet:"))->trigger();
    EXPECT_TRUE(script.done());
    EXPECT_EQ(popup->itemText(3), QStringLiteral("Office"));
    EXPECT_EQ(popup->count(), 5);  // all, separator, three categories
    // Records of the renamed category show the new name at once.
    EXPECT_EQ(w->recordTable()->model()->index(1, 0).data().toString(), QStringLiteral("Office"));
    discard(w);
}

TEST(DocumentWindow, EditingInTheDetailPaneAndCollapsingIt) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("detail.qvane")), 3);
    ASSERT_NE(w, nullptr);
    w->show();
    w->recordTable()->selectRow(2);
    auto* name = w->findChild<QLineEdit*>(QStringLiteral("nameField"));
    ASSERT_NE(name, nullptr);
    EXPECT_TRUE(name->isReadOnly());  // not in edit mode yet
    w->action(QStringLiteral("editContentToggle:"))->trigger();
    EXPECT_FALSE(name->isReadOnly());
    name->selectAll();
    QTest::keyClicks(name, QStringLiteral("Renamed"));
    EXPECT_TRUE(w->isWindowModified());  // every keystroke marks the document
    Q_EMIT name->editingFinished();
    const Dictionary record = w->document().myArray.at(2).toDictionary();
    EXPECT_EQ(record.value(keys::name).toString(), QStringLiteral("Renamed"));
    const double before = record.value(keys::modificationDate).toDate();
    ASSERT_TRUE(waitFor([&] { return record.value(keys::modificationDate).toDate() != before; }));  // deferred

    w->resize(1000, 600);
    QTest::qWait(20);
    EXPECT_GT(w->findChild<QSplitter*>(QStringLiteral("mainSplitView"))->sizes().value(1), 0);
    w->toggleCollapseExpandMainView();
    EXPECT_TRUE(w->isDetailViewCollapsed());
    w->toggleCollapseExpandMainView();
    EXPECT_FALSE(w->isDetailViewCollapsed());
    EXPECT_GE(w->findChild<QSplitter*>(QStringLiteral("mainSplitView"))->sizes().value(1), 200);
    discard(w);
}

TEST(DocumentWindow, AHugeNoteShowsItsBeginningAndStaysWhole) {
    Application quorvane(std::make_unique<MemoryUserDefaults>());
    QTemporaryDir dir;
    DocumentWindow* w = openWithRecords(quorvane.documents(), dir.filePath(QStringLiteral("note.qvane")), 4);
    ASSERT_NE(w, nullptr);
    QString lines;  // short lines, a little more than the pane shows
    while (lines.size() <= DocumentWindow::kNoteShownInFull) lines += QStringLiteral("a line of the note\n");
    const QString atLimit = lines.left(DocumentWindow::kNoteShownInFull);
    const Array& records = w->document().myArray;
    records.at(1).toDictionary().set(keys::note, Value(lines));
    records.at(2).toDictionary().set(keys::note, Value(atLimit));
    records.at(3).toDictionary().set(keys::note, Value(QString(200000, QLatin1Char('b'))));  // nowhere to break it
    w->show();
    w->action(QStringLiteral("editContentToggle:"))->trigger();
    auto* note = w->findChild<QPlainTextEdit*>(QStringLiteral("noteField"));
    auto* notice = w->findChild<QLabel*>(QStringLiteral("noteTooLongNotice"));
    ASSERT_TRUE(note && notice);
    for (int row : {1, 3}) {
        const QString whole = records.at(row).toDictionary().value(keys::note).toString();
        w->recordTable()->selectRow(row);
        EXPECT_LT(note->toPlainText().size(), whole.size()) << row;
        EXPECT_TRUE(whole.startsWith(note->toPlainText())) << row;
        EXPECT_TRUE(note->isReadOnly()) << row;  // even in edit mode
        EXPECT_TRUE(notice->isVisible() && notice->text().contains(QLocale().toString(whole.size()))) << row;
        note->setPlainText(QStringLiteral("set by a program"));  // its beginning must never replace it
        EXPECT_EQ(records.at(row).toDictionary().value(keys::note).toString(), whole) << row;
        QTest::mouseClick(w->findChild<QToolButton*>(QStringLiteral("noteCopy")), Qt::LeftButton);
        EXPECT_EQ(QGuiApplication::clipboard()->text(), whole) << row;
    }
    w->recordTable()->selectRow(2);  // exactly the limit, in short lines: whole and editable
    EXPECT_EQ(note->toPlainText(), atLimit);
    EXPECT_FALSE(note->isReadOnly() || notice->isVisible());
    discard(w);
}

TEST(PasswordTools, CopyNoticePushAndPullAndTheGenerator) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    MemoryUserDefaults* prefs = settings.get();
    Application quorvane(std::move(settings));
    QTemporaryDir dir;
    DocumentWindow* w = openWithRecords(quorvane.documents(), dir.filePath(QStringLiteral("copy.qvane")), 3);
    ASSERT_NE(w, nullptr);
    w->document().myArray.at(1).toDictionary().set(keys::userID, Value("jsmith"));
    w->document().myArray.at(1).toDictionary().set(keys::url, Value("https://bank.example"));
    w->recordTable()->selectRow(1);
    w->refresh();

    w->action(QStringLiteral("copyPassword:"))->trigger();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("pw1"));  // from the hidden field
    ASSERT_NE(w->hud(), nullptr);
    EXPECT_TRUE(w->hud()->isVisible());
    EXPECT_EQ(w->hud()->findChild<QLabel*>()->text(), QStringLiteral("password copied"));
    ASSERT_TRUE(waitFor([&] { return !w->hud()->isVisible(); }));  // gone after a second

    // Push: the user ID now, the password from the icon's stand-in (there is no tray offscreen).
    w->action(QStringLiteral("pushAndPull:"))->trigger();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("jsmith"));
    ASSERT_TRUE(quorvane.statusItem().isShown());
    QWidget* standIn = quorvane.statusItem().standIn();
    ASSERT_NE(standIn, nullptr);
    EXPECT_TRUE(standIn->isVisible());
    QTest::mouseClick(standIn, Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("pw1"));
    EXPECT_FALSE(quorvane.statusItem().isShown());

    // The generator: twelve characters of type 40 rate four stars.
    PasswordMakerWindow& maker = quorvane.passwordMaker();
    maker.showPasswordMaker();
    EXPECT_EQ(maker.password().size(), 12);
    EXPECT_EQ(maker.qualityView()->quality().text(), QStringLiteral("4/10"));
    // Excluding every digit leaves a PIN nothing to be made of: a message, not a crash.
    prefs->setObject(QStringLiteral("enableDisambiguator"), Value::boolean(true));
    prefs->setObject(QStringLiteral("noCharStringDisambiguator"), Value("0123456789"));
    const QString before = maker.password();
    quorvane.delegate().pwTypeTag4PasswordMaker = 30;
    maker.calcNewPasswordInPasswordMaker();
    EXPECT_EQ(maker.password(), before);
    EXPECT_TRUE(maker.findChild<QLabel*>(QStringLiteral("generatorProblem"))->isVisible());
    maker.close();
    discard(w);
}

namespace {

// Answers open and save panels with fixed paths, as a user picking a file would.
class ScriptedFilePanel : public FilePanel {
public:
    QString openPath, savePath;
    FilePanelOptions lastSave;
    std::optional<QString> runOpenPanel(const FilePanelOptions&) override {
        if (openPath.isEmpty()) return std::nullopt;
        return openPath;
    }
    std::optional<QString> runSavePanel(const FilePanelOptions& o) override {
        lastSave = o;
        if (savePath.isEmpty()) return std::nullopt;
        return savePath;
    }
};

}  // namespace

// The tray icon comes from the installed icon theme: the one-colour icon that panels draw in
// their own colour, else the coloured program icon, else the image the program carries.
TEST(PasswordTools, TrayIconPrefersTheInstalledSymbolicIconThenTheColouredOne) {
    const QStringList savedPaths = QIcon::themeSearchPaths();
    const QString savedTheme = QIcon::themeName();
    QTemporaryDir dir;
    const QString theme = dir.filePath(QStringLiteral("hicolor"));
    ASSERT_TRUE(QDir().mkpath(theme + QStringLiteral("/48x48/apps")));
    QFile index(theme + QStringLiteral("/index.theme"));
    ASSERT_TRUE(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=Hicolor\nDirectories=48x48/apps\n\n[48x48/apps]\nSize=48\nType=Fixed\n");
    index.close();
    const auto install = [&](const char* name, Qt::GlobalColor colour) {
        QImage image(48, 48, QImage::Format_ARGB32);
        image.fill(colour);
        ASSERT_TRUE(image.save(theme + QStringLiteral("/48x48/apps/%1.png").arg(QLatin1String(name))));
        QIcon::setThemeSearchPaths({dir.path()});  // forgets what was looked up before
    };
    QIcon::setThemeName(QStringLiteral("hicolor"));
    QIcon::setThemeSearchPaths({dir.path()});

    const QIcon carried = TrayStatusItem::trayIcon();
    EXPECT_TRUE(carried.name().isEmpty());
    EXPECT_EQ(carried.pixmap(32).toImage().size(), QSize(32, 32));  // the program's own image

    install("quorvane", Qt::blue);
    EXPECT_EQ(TrayStatusItem::trayIcon().name(), QStringLiteral("quorvane"));
    EXPECT_EQ(TrayStatusItem::trayIcon().pixmap(48).toImage().pixelColor(24, 24), QColor(Qt::blue));

    install("quorvane-symbolic", Qt::black);
    EXPECT_EQ(TrayStatusItem::trayIcon().name(), QStringLiteral("quorvane-symbolic"));
    EXPECT_EQ(TrayStatusItem::trayIcon().pixmap(48).toImage().pixelColor(24, 24), QColor(Qt::black));

    QIcon::setThemeSearchPaths(savedPaths);
    QIcon::setThemeName(savedTheme);
}

TEST(ImportExportSheets, ImportMappedByHeaderThenExportAllAsQuotedComma) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("io.qvane")), 2);
    ASSERT_NE(w, nullptr);
    ScriptedFilePanel panel;
    w->setFilePanel(&panel);

    // Semicolons, a header in another order than the fields, and a quoted separator.
    panel.openPath = dir.filePath(QStringLiteral("in.csv"));
    QFile in(panel.openPath);
    ASSERT_TRUE(in.open(QIODevice::WriteOnly));
    in.write("password;name;category;note\r\n\"p;1\";Bank;Money;first\r\np2;Shop;Money;\r\np3;Mail;Web;x\r\n");
    in.close();

    ModalScript importing({[](QWidget* sheet) {
        auto* s = qobject_cast<ImportSheet*>(sheet);
        ASSERT_NE(s, nullptr);
        // Four columns; how they are mapped and imported is checked on the import session itself.
        ASSERT_EQ(s->columnTable()->rowCount(), 4);
        auto* tools = s->findChild<QToolButton*>(QStringLiteral("toolsPopUpButton"));
        ASSERT_NE(tools, nullptr);
        QAction* byHeader = nullptr;
        for (QAction* a : tools->menu()->actions())
            if (a->text() == QStringLiteral("By the Names in the First Row")) byHeader = a;
        ASSERT_NE(byHeader, nullptr);
        byHeader->trigger();
        EXPECT_TRUE(s->findChild<QCheckBox*>(QStringLiteral("doNotImportFirstRecord"))->isChecked());
        auto* destination = qobject_cast<QComboBox*>(s->columnTable()->cellWidget(0, 2));
        ASSERT_NE(destination, nullptr);
        EXPECT_EQ(destination->currentText(), QStringLiteral("Password"));
        QTest::mouseClick(s->findChild<QPushButton*>(QStringLiteral("doImport")), Qt::LeftButton);
    }});
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    ASSERT_TRUE(importing.done());
    const Array& records = w->document().myArray;
    ASSERT_EQ(records.count(), 5);
    const Dictionary bank = records.at(2).toDictionary();
    EXPECT_EQ(bank.value(keys::name).toString(), QStringLiteral("Bank"));
    EXPECT_EQ(bank.value(keys::password).toString(), QStringLiteral("p;1"));
    EXPECT_EQ(bank.value(keys::categoryPtr).toDictionary().value(keys::cat_category).toString(), QStringLiteral("Money"));
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 5);
    EXPECT_TRUE(w->isWindowModified());

    // Export: all ten fields, quoted comma, a header row, into the file the panel gives.
    panel.savePath = dir.filePath(QStringLiteral("out.csv"));
    ModalScript exporting({[](QWidget* sheet) {
        auto* s = qobject_cast<ExportSheet*>(sheet);
        ASSERT_NE(s, nullptr);
        QTest::mouseClick(s->findChild<QPushButton*>(QStringLiteral("addAllToRight")), Qt::LeftButton);
        EXPECT_EQ(s->findChild<QListWidget*>(QStringLiteral("rightKeyList"))->count(), 10);
        s->findChild<QComboBox*>(QStringLiteral("exportFormat"))->setCurrentIndex(2);
        s->findChild<QCheckBox*>(QStringLiteral("useFieldNamesAsFirstRow"))->setChecked(true);
        QTest::mouseClick(s->findChild<QPushButton*>(QStringLiteral("doExport")), Qt::LeftButton);
    }});
    w->action(QStringLiteral("exportAllToTextFile:"))->trigger();
    ASSERT_TRUE(exporting.done());
    EXPECT_EQ(panel.lastSave.suggestedName, QStringLiteral("io Export.csv"));
    QFile out(panel.savePath);
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = out.readAll().split('\n');
    ASSERT_EQ(lines.size(), 6);  // header and five records, no line end after the last
    EXPECT_EQ(lines[0], QByteArray("\"Category\",\"Name\",\"Url\",\"Account\",\"User ID\",\"Password\",\"Pin\",\"Security\",\"Email\",\"Note\""));
    EXPECT_TRUE(lines[3].startsWith("\"Money\",\"Bank\",\"\",\"\",\"\",\"p;1\"")) << lines[3].toStdString();
    discard(w);
}

TEST(DropArea, FilesAndAddressesDroppedOnTheFormFillTheUrl) {
    const auto dropOn = [](QWidget* target, QMimeData* data, Qt::DropActions actions) {
        QDragEnterEvent enter(QPoint(5, 5), actions, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        if (!enter.isAccepted()) return;
        QDropEvent drop(QPointF(5, 5), actions, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &drop);
    };
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("drop.qvane"));
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, path, 1);
    ASSERT_NE(w, nullptr);
    w->browser().myArrayController().setSelectionIndex(0);
    auto* area = w->findChild<DropArea*>(QStringLiteral("myDropFileArea"));
    ASSERT_NE(area, nullptr);
    auto url = [&] { return w->document().myArray.at(0).toDictionary().value(keys::url).toString(); };

    // Three files from a file manager: the first one, as a file URL without encoding.
    const QString folder = dir.filePath(QStringLiteral("My Folder"));
    QDir().mkpath(folder);
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(folder), QUrl::fromLocalFile(path), QUrl::fromLocalFile(dir.filePath(QStringLiteral("x")))});
    dropOn(area, &files, Qt::CopyAction | Qt::LinkAction);
    EXPECT_EQ(url(), QStringLiteral("file://") + folder);
    EXPECT_TRUE(w->document().isDocumentEdited());
    auto* field = w->findChild<QLineEdit*>(QStringLiteral("urlField"));
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(field->text(), url());

    // An address from a browser goes in as it is; one that allows no linking is refused.
    QMimeData web;
    web.setUrls({QUrl(QStringLiteral("https://example.org/login"))});
    dropOn(area, &web, Qt::CopyAction);
    EXPECT_EQ(url(), QStringLiteral("file://") + folder);
    dropOn(area, &web, Qt::LinkAction);
    EXPECT_EQ(url(), QStringLiteral("https://example.org/login"));
    discard(w);
}

namespace {

// Everything a locked window must refuse: no command, no detail-pane button, no value left in a
// field. Run right after the lock is decided and again once it is carried out.
void expectNothingReachable(DocumentWindow* w, const char* when) {
    SCOPED_TRACE(when);
    QGuiApplication::clipboard()->setText(QStringLiteral("untouched"));
    for (const char* name : {"copyPassword:", "copyName:", "copyNote:", "copyUserID:", "copyCategory:", "pushAndPull:"})
        w->action(QLatin1String(name))->trigger();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("untouched"));
    for (const char* name : {"copyPassword:", "openUrl:", "duplicateRow:", "deleteRow:", "addRow:", "editContentToggle:"})
        EXPECT_FALSE(w->action(QLatin1String(name))->isEnabled()) << name;
    for (auto* field : w->findChild<QWidget*>(QStringLiteral("detailView"))->findChildren<QLineEdit*>())
        EXPECT_TRUE(field->text().isEmpty()) << field->objectName().toStdString();
    auto* copy = w->findChild<QToolButton*>(QStringLiteral("passwordCopy"));
    ASSERT_NE(copy, nullptr);
    EXPECT_FALSE(copy->isEnabled() && copy->isVisibleTo(w) && copy->window()->isEnabled() &&
                 copy->parentWidget()->isEnabled() && w->recordTable()->isEnabled());
    const qsizetype records = w->document().myArray.count();
    w->action(QStringLiteral("addRow:"))->trigger();
    w->action(QStringLiteral("undo:"))->trigger();
    EXPECT_EQ(w->document().myArray.count(), records);
}

}  // namespace

// A lock confirmed while another window is in front or going away, or the background lock while
// a sheet is open: from the moment it is decided nothing of the records can be reached.
TEST(DocumentWindow, LockLeavesNothingReachableWhateverWindowIsInFront) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    Application quorvane(std::move(settings));
    QTemporaryDir dir;
    DocumentWindow* w = openWithRecords(quorvane.documents(), dir.filePath(QStringLiteral("front.qvane")), 3);
    ASSERT_NE(w, nullptr);
    auto openAndSelect = [&] {
        if (w->document().isEncrypted()) unlock(w);
        ASSERT_FALSE(w->document().isEncrypted());
        w->recordTable()->selectRow(1);
        ASSERT_EQ(w->findChild<QLineEdit*>(QStringLiteral("passwordField"))->text(), QStringLiteral("pw1"));
    };

    // The generator in front, closed by force while the question is up; then the preferences.
    const std::vector<std::function<QWidget*()>> fronts = {
        [&]() -> QWidget* { quorvane.passwordMaker().showPasswordMaker(); return &quorvane.passwordMaker(); },
        [&]() -> QWidget* { quorvane.preferences().show(); return &quorvane.preferences(); }};
    for (const auto& bringToFront : fronts) {
        openAndSelect();
        QWidget* front = bringToFront();
        QApplication::setActiveWindow(front);
        ModalScript confirm({[front](QWidget* sheet) {
            front->close();
            clickButton(QStringLiteral("OK"))(sheet);
        }});
        w->action(QStringLiteral("lockDocument:"))->trigger();
        ASSERT_TRUE(confirm.done());
        expectNothingReachable(w, "decided");
        ASSERT_TRUE(waitFor([&] { return w->document().isEncrypted(); }));
        expectNothingReachable(w, "carried out");
    }

    // The background lock while each sheet is open ends the sheet and locks.
    ScriptedFilePanel panel;
    panel.openPath = dir.filePath(QStringLiteral("in.txt"));
    panel.savePath = dir.filePath(QStringLiteral("out.txt"));
    QFile in(panel.openPath);
    ASSERT_TRUE(in.open(QIODevice::WriteOnly));
    in.write("Bank\tpw\n");
    in.close();
    w->setFilePanel(&panel);
    for (const char* sheet : {"editCategoriesSheet:", "importFromTextFile:", "exportAllToTextFile:", "emailListSheet:"}) {
        openAndSelect();
        // The lock comes once the sheet is up: every sheet here is up within its first turn of
        // the event loop, the import's after its file was read.
        bool sawSheet = false;
        std::function<void()> lockWhenUp = [&] {
            if (!QApplication::activeModalWidget()) return QTimer::singleShot(10, lockWhenUp);
            sawSheet = true;
            quorvane.AutomaticLockAllOpenedDocuments();
        };
        QTimer::singleShot(10, lockWhenUp);
        w->action(QLatin1String(sheet))->trigger();
        EXPECT_TRUE(sawSheet) << sheet;
        ASSERT_TRUE(waitFor([&] { return w->document().isEncrypted(); })) << sheet;
        expectNothingReachable(w, sheet);
    }

    // A lock that comes while the import still reads its file: the sheet never shows over the
    // locked page, and nothing is imported.
    openAndSelect();
    const qsizetype before = w->document().myArray.count();
    {
        // Long enough that reading it takes more than one turn of the event loop.
        QFile big(panel.openPath);
        ASSERT_TRUE(big.open(QIODevice::WriteOnly));
        for (int i = 0; i < 200000; ++i) big.write("Bank account number\tpassword for it\n");
    }
    QTimer::singleShot(0, [&] { quorvane.AutomaticLockAllOpenedDocuments(); });
    bool sheetShown = false;
    std::function<void()> watchForSheet = [&] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            sheetShown = true;
            modal->close();  // so that a failing run ends instead of waiting for a user
        }
        if (!sheetShown) QTimer::singleShot(5, watchForSheet);
    };
    QTimer::singleShot(5, watchForSheet);
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    ASSERT_TRUE(waitFor([&] { return w->document().isEncrypted(); }));
    QTest::qWait(50);
    EXPECT_FALSE(sheetShown);
    sheetShown = true;  // the watch ends
    EXPECT_EQ(w->document().myArray.count(), before);
    w->setFilePanel(nullptr);
    w->close();
}

TEST(DocumentWindow, NewRecordTakesTypingAndEditModeTogglesFromAField) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("new.qvane")), 2);
    ASSERT_NE(w, nullptr);
    w->show();
    QApplication::setActiveWindow(w);
    w->toggleCollapseExpandMainView();  // even with the pane collapsed
    ASSERT_TRUE(w->isDetailViewCollapsed());
    w->action(QStringLiteral("addRow:"))->trigger();
    auto* name = w->findChild<QLineEdit*>(QStringLiteral("nameField"));
    ASSERT_TRUE(waitFor([&] { return QApplication::focusWidget() == name; }));
    EXPECT_FALSE(name->isReadOnly());
    EXPECT_TRUE(w->action(QStringLiteral("editContentToggle:"))->isChecked());
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("Bank"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    ASSERT_EQ(w->document().myArray.count(), 3);
    EXPECT_EQ(w->document().myArray.at(2).toDictionary().value(keys::name).toString(), QStringLiteral("Bank"));

    // Ctrl+E from inside a text field turns edit mode off, and on again.
    name->setFocus();
    QTest::keyClick(name, Qt::Key_E, Qt::ControlModifier);
    EXPECT_FALSE(w->document().isEditable);
    EXPECT_TRUE(name->isReadOnly());
    QTest::keyClick(name, Qt::Key_E, Qt::ControlModifier);
    EXPECT_TRUE(w->document().isEditable);
    discard(w);
}

// Counts, the pane and the chooser follow a change of category at once; the filter and search
// bar can be brought back for any document.
TEST(DocumentWindow, CategoriesCountsDetailPaneAndToolbarStayCurrent) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("cats.qvane")), 4);
    ASSERT_NE(w, nullptr);
    // Records 0 and 2 are in the first category, 1 and 3 in "Work"; move record 0 to "Work".
    w->recordTable()->selectRow(0);
    auto* chooser = w->findChild<QComboBox*>(QStringLiteral("categoryChooser"));
    const int work = chooser->findText(QStringLiteral("Work"));
    ASSERT_GE(work, 0);
    chooser->setCurrentIndex(work);
    Q_EMIT chooser->activated(work);
    EXPECT_EQ(chooser->currentText(), QStringLiteral("Work"));
    // A refill of the category lists keeps showing the selected record's category.
    w->browser().synkCategorySubMenu();
    EXPECT_EQ(chooser->currentText(), QStringLiteral("Work"));

    QStringList counts;
    ModalScript sheet({[&counts](QWidget* s) {
        auto* table = s->findChild<QTableWidget*>();
        ASSERT_NE(table, nullptr);
        for (int row = 0; row < table->rowCount(); ++row)
            counts << table->item(row, 0)->text() + QLatin1Char('=') + table->item(row, 3)->text();
        qobject_cast<QDialog*>(s)->accept();
    }});
    w->action(QStringLiteral("editCategoriesSheet:"))->trigger();
    ASSERT_TRUE(sheet.done());
    EXPECT_EQ(counts.value(1), QStringLiteral("Work=3"));
    EXPECT_TRUE(counts.value(0).endsWith(QStringLiteral("=1"))) << counts.join(QLatin1Char(' ')).toStdString();

    // The category column shows the longest title whole after a preset, never "Very Long Cat..".
    const QString longTitle = QStringLiteral("Very Long Category Title Here");
    w->document().myCategoryArray.at(1).toDictionary().set(keys::cat_category, Value(longTitle));
    w->action(QStringLiteral("setColumnVisibilityCompact:"))->trigger();
    const int categoryColumn = static_cast<RecordTableModel*>(w->recordTable()->model())->columnOf(QStringLiteral("category"));
    EXPECT_GE(w->recordTable()->columnWidth(categoryColumn),
              CategoryPill::widthForTitle(w->recordTable()->fontMetrics(), longTitle,
                                          w->recordTable()->verticalHeader()->defaultSectionSize()));

    // As a converted old file opens: no toolbar. View ▸ Show Toolbar brings it back.
    w->setToolbarVisible(false);
    w->refresh();
    QAction* toolbar = w->action(QStringLiteral("toggleToolbarShown:"));
    ASSERT_NE(toolbar, nullptr);
    EXPECT_TRUE(toolbar->isEnabled());
    EXPECT_FALSE(toolbar->isChecked());
    EXPECT_EQ(toolbar->text(), QStringLiteral("Show Toolbar"));
    toolbar->trigger();
    EXPECT_TRUE(w->isToolbarVisible() || !w->findChild<QToolBar*>(QStringLiteral("modernToolbar"))->isHidden());
    EXPECT_TRUE(toolbar->isChecked());
    EXPECT_EQ(toolbar->text(), QStringLiteral("Hide Toolbar"));
    discard(w);
}

TEST(DocumentWindow, CopyButtonsPresetsScreenAndKeyboard) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    Application quorvane(std::move(settings));
    QTemporaryDir dir;
    DocumentWindow* w = openWithRecords(quorvane.documents(), dir.filePath(QStringLiteral("keys.qvane")), 3);
    ASSERT_NE(w, nullptr);
    w->show();
    QApplication::setActiveWindow(w);
    auto button = [w](const char* name) { return w->findChild<QToolButton*>(QLatin1String(name)); };

    // A copy button is enabled only when its field holds something.
    w->recordTable()->clearSelection();
    w->browser().myArrayController().setSelectionIndexes({});
    w->refresh();
    EXPECT_FALSE(button("passwordCopy")->isEnabled());
    EXPECT_FALSE(button("nameCopy")->isEnabled());
    w->recordTable()->selectRow(1);
    EXPECT_TRUE(button("passwordCopy")->isEnabled());
    EXPECT_FALSE(button("pinCopy")->isEnabled());
    EXPECT_FALSE(button("noteCopy")->isEnabled());

    // A frame remembered on a larger screen comes back within this one.
    const QRect room = w->screen()->availableGeometry();
    w->setWindowFrame(Rect{double(room.x()), double(room.y() - 100), double(room.width() + 400), double(room.height() + 300)});
    EXPECT_TRUE(room.contains(w->geometry())) << room.width() << "x" << room.height();

    // The compact preset with dates shows every column within the table at the window's first
    // size, dates whole; all columns stay readable, scrolling if they must.
    w->resize(900, 600);
    QTest::qWait(20);
    auto* model = static_cast<RecordTableModel*>(w->recordTable()->model());
    for (const char* preset : {"setColumnVisibilityCompactPlusCMA:", "setColumnVisibilityAll:"}) {
        w->action(QLatin1String(preset))->trigger();
        QTest::qWait(20);
        QHeaderView* header = w->recordTable()->horizontalHeader();
        int right = 0;
        for (int s = 0; s < header->count(); ++s)
            if (!header->isSectionHidden(s)) right = std::max(right, header->sectionPosition(s) + header->sectionSize(s));
        if (std::string(preset) == "setColumnVisibilityCompactPlusCMA:") {
            EXPECT_LE(right, w->recordTable()->viewport()->width() + 1) << preset;
        }
        for (const char* id : {"createdDate", "modificationDate"}) {
            const int column = model->columnOf(QLatin1String(id));
            EXPECT_GE(header->sectionSize(column),
                      w->recordTable()->fontMetrics().horizontalAdvance(model->index(0, column).data().toString()))
                << preset << " " << id;
        }
    }

    // Tab leaves the table for the pane and walks its fields in reading order (the category
    // chooser takes part in edit mode only); labels name them.
    w->recordTable()->setFocus();
    QTest::keyClick(w->recordTable(), Qt::Key_Tab);
    auto* name = w->findChild<QLineEdit*>(QStringLiteral("nameField"));
    EXPECT_EQ(QApplication::focusWidget(), name);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), button("nameCopy"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), w->findChild<QLineEdit*>(QStringLiteral("accountField")));
    QStringList unnamed;
    for (QWidget* c : w->findChild<QWidget*>(QStringLiteral("detailView"))->findChildren<QWidget*>())
        if ((qobject_cast<QLineEdit*>(c) || qobject_cast<QAbstractButton*>(c) || qobject_cast<QComboBox*>(c) ||
             qobject_cast<QPlainTextEdit*>(c)) && c->accessibleName().isEmpty())
            unnamed << c->objectName();
    EXPECT_TRUE(unnamed.isEmpty()) << unnamed.join(QLatin1Char(' ')).toStdString();
    bool buddy = false;
    for (auto* label : w->findChildren<QLabel*>()) buddy = buddy || label->buddy() == name;
    EXPECT_TRUE(buddy);

    // Edit ▸ Copy and Select All act on the field that has the keyboard.
    w->action(QStringLiteral("editContentToggle:"))->trigger();
    name->setFocus();
    ASSERT_EQ(QApplication::focusWidget(), name);
    w->action(QStringLiteral("selectAll"))->trigger();
    EXPECT_EQ(name->selectedText(), QStringLiteral("Record 001"));
    w->action(QStringLiteral("copy"))->trigger();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("Record 001"));
    name->end(false);
    w->action(QStringLiteral("paste"))->trigger();
    EXPECT_EQ(name->text(), QStringLiteral("Record 001Record 001"));
    discard(w);
}

TEST(DocumentWindow, DuplicateSearchEscapeRowMenuCountAndAbout) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    Application quorvane(std::move(settings));
    QTemporaryDir dir;
    DocumentWindow* w = openWithRecords(quorvane.documents(), dir.filePath(QStringLiteral("rows.qvane")), 3);
    ASSERT_NE(w, nullptr);
    const int nameColumn = static_cast<RecordTableModel*>(w->recordTable()->model())->columnOf(QStringLiteral("name"));
    auto nameAt = [w, nameColumn](int row) { return w->recordTable()->model()->index(row, nameColumn).data().toString(); };
    EXPECT_EQ(w->recordCountLabel()->text(), QStringLiteral("3 records"));

    // The copy goes right under its source; an undone delete comes back at the end.
    w->recordTable()->selectRow(0);
    w->action(QStringLiteral("duplicateRow:"))->trigger();
    EXPECT_EQ(nameAt(0), QStringLiteral("Record 000"));
    EXPECT_EQ(nameAt(1), QStringLiteral("Record 000"));
    EXPECT_EQ(nameAt(2), QStringLiteral("Record 001"));
    w->recordTable()->selectRow(2);
    ModalScript confirm({clickButton(QStringLiteral("Delete"))});
    w->action(QStringLiteral("deleteRow:"))->trigger();
    w->action(QStringLiteral("undo:"))->trigger();
    EXPECT_EQ(nameAt(3), QStringLiteral("Record 001"));

    // Escape empties the search field, and the filter and its strip go with it.
    auto* search = w->findChild<QLineEdit*>(QStringLiteral("searchField"));
    QTest::keyClicks(search, QStringLiteral("002"));
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 1);
    EXPECT_EQ(w->recordCountLabel()->text(), QStringLiteral("1 of 4 records shown"));
    EXPECT_FALSE(w->findChild<QLabel*>(QStringLiteral("filterInfoPane"))->isHidden());
    QTest::keyClick(search, Qt::Key_Escape);
    EXPECT_TRUE(search->text().isEmpty());
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 4);
    EXPECT_TRUE(w->findChild<QLabel*>(QStringLiteral("filterInfoPane"))->isHidden());

    // The row menu: the row under the pointer is selected, its commands enabled as in the menu.
    QStringList titles;
    bool passwordEnabled = false;
    w->setRowMenuHook([&](QMenu* menu) {
        for (QAction* a : menu->actions()) {
            if (!a->text().isEmpty()) titles << a->text();
            if (a->text() == QStringLiteral("Copy Password")) passwordEnabled = a->isEnabled();
        }
        QTimer::singleShot(0, menu, &QMenu::close);
    });
    const QRect third = w->recordTable()->visualRect(w->recordTable()->model()->index(3, 0));
    w->showRowMenu(third.center());
    EXPECT_EQ(w->browser().myArrayController().selectionIndex(), 3);
    EXPECT_TRUE(passwordEnabled);
    for (const char* t : {"Copy Name", "Copy User ID", "Copy Password", "Open URL", "Push and Pull", "Edit Record",
                          "Duplicate Record", "Delete Record\u2026"})
        EXPECT_TRUE(titles.contains(QString::fromUtf8(t))) << t;

    // About: name, release and what the program is, in a window wide enough for its title.
    ModalScript about({[](QWidget* box) {
        EXPECT_EQ(box->windowTitle(), QStringLiteral("About Quorvane"));
        const QString release = box->findChild<QLabel*>(QStringLiteral("aboutRelease"))->text();
        EXPECT_TRUE(release.startsWith(QStringLiteral("Release 4."))) << release.toStdString();
        EXPECT_FALSE(box->findChild<QLabel*>(QStringLiteral("aboutDescription"))->text().isEmpty());
        EXPECT_GT(box->width(), box->fontMetrics().horizontalAdvance(box->windowTitle()) * 2);
        qobject_cast<QDialog*>(box)->accept();
    }});
    w->action(QStringLiteral("about"))->trigger();
    EXPECT_TRUE(about.done());
    discard(w);
}

// View ▸ Password Health: the lists are filled from worker threads, and a double-click shows the
// record in the table, also when the search hid it.
TEST(DocumentWindow, PasswordHealthSheetListsFindingsAndShowsTheRecord) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWithRecords(controller, dir.filePath(QStringLiteral("health.qvane")), 4);
    ASSERT_NE(w, nullptr);
    // Records 0 to 3 have the weak passwords pw0..pw3 and dates of 2001; give two a strong shared one.
    for (int i : {1, 3}) w->document().myArray.at(i).toDictionary().set(keys::password, Value("Tq8%wN3&zB6*yK1+"));
    QTest::keyClicks(w->findChild<QLineEdit*>(QStringLiteral("searchField")), QStringLiteral("001"));
    ASSERT_EQ(w->recordTable()->model()->rowCount(), 1);

    QStringList tops;
    w->setHealthSheetHook([&](QDialog* dialog) {
        QTimer::singleShot(0, dialog, [&, dialog] {
            auto* sheet = qobject_cast<HealthSheet*>(dialog);
            ASSERT_NE(sheet, nullptr);
            ASSERT_TRUE(waitFor([&] { return !sheet->isExamining() && sheet->list()->topLevelItemCount() == 4; }));
            for (int i = 0; i < 4; ++i) tops << sheet->list()->topLevelItem(i)->text(0);
            QTreeWidgetItem* weakest = sheet->list()->topLevelItem(0)->child(1);  // record 2
            ASSERT_NE(weakest, nullptr);
            EXPECT_EQ(weakest->text(0), QStringLiteral("Record 002"));
            EXPECT_TRUE(weakest->text(1).contains(QStringLiteral("1/10"))) << weakest->text(1).toStdString();
            Q_EMIT sheet->list()->itemDoubleClicked(weakest, 0);
        });
    });
    w->action(QStringLiteral("showPasswordHealth:"))->trigger();
    EXPECT_EQ(tops, (QStringList{QStringLiteral("Weak (2)"), QStringLiteral("Reused (2 in 1 group)"),
                                 QStringLiteral("Not changed for 365 days (4)"), QStringLiteral("Login without a password (0)")}));
    EXPECT_TRUE(w->findChild<QLineEdit*>(QStringLiteral("searchField"))->text().isEmpty());
    EXPECT_EQ(w->browser().myArrayController().selectedObjects().value(0).toDictionary().value(keys::name).toString(),
              QStringLiteral("Record 002"));
    discard(w);
}

namespace {

// A version of a document as another machine might leave it: records with their own creation
// and modification dates, under "secret".
void writeVersion(const QString& path, const std::vector<std::tuple<QString, double, double, QString>>& records) {
    MyDocument doc;
    doc.prepareNewDocument();
    for (const auto& [name, created, modified, note] : records) {
        Dictionary r = RecordModel::newRecord(created);
        r.set(keys::name, Value(name));
        r.set(keys::modificationDate, Value::date(modified));
        r.set(keys::note, Value(note));
        r.set(keys::categoryPtr, doc.myCategoryArray.at(0));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = QStringLiteral("secret");
    ASSERT_TRUE(DocumentFile::writeAtomically(path, doc.dataOfType(QString()).value()).ok());
}

QStringList namesIn(const QString& path) {
    MyDocument doc;
    EXPECT_TRUE(doc.readFromData(contents(path), QString()));
    doc.plainPassword = QStringLiteral("secret");
    DocumentBrowser browser(doc);
    EXPECT_EQ(doc.Decript(), 0);
    QStringList names;
    for (const Value& r : doc.myArray)
        names << r.toDictionary().value(keys::name).toString() + QLatin1Char('=') + r.toDictionary().value(keys::note).toString();
    return names;
}

}  // namespace

// A sync program changes the file behind the window: a clean document takes the new version at
// once; one with edits is offered the merge at once, and a save that finds the file changed
// offers it too. Nothing of either side is lost, and the merge is one undoable step.
TEST(DocumentWindow, ChangesBehindTheWindowAreReloadedOrMerged) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("synced.qvane"));
    writeVersion(path, {{QStringLiteral("Bank"), 100, 100, QString()}, {QStringLiteral("Mail"), 200, 200, QString()}});
    DocumentController controller;
    controller.setAutosavingDelay(0);
    DocumentWindow* w = controller.openDocument(path);
    ASSERT_NE(w, nullptr);
    unlock(w);
    ASSERT_EQ(w->document().myArray.count(), 2);

    // Clean: the other machine's version replaces what is shown.
    writeVersion(path, {{QStringLiteral("Bank"), 100, 100, QString()}, {QStringLiteral("Mail"), 200, 300, QStringLiteral("theirs")},
                        {QStringLiteral("Shop"), 300, 300, QString()}});
    ASSERT_TRUE(waitFor([&] { return w->document().myArray.count() == 3; }));
    EXPECT_FALSE(w->isWindowModified());

    // Edited: the merge is offered at once.
    Dictionary bank = w->document().myArray.at(0).toDictionary();
    bank.set(keys::note, Value("mine"));
    bank.set(keys::modificationDate, Value::date(500));
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    ModalScript offered({clickButton(QStringLiteral("Merge")), clickButton(QStringLiteral("OK"))});
    writeVersion(path, {{QStringLiteral("Bank"), 100, 100, QString()}, {QStringLiteral("Mail"), 200, 300, QStringLiteral("theirs")},
                        {QStringLiteral("Shop"), 300, 300, QString()}, {QStringLiteral("Forum"), 400, 400, QString()}});
    ASSERT_TRUE(waitFor([&] { return offered.done() && !QApplication::activeModalWidget(); }));
    EXPECT_EQ(offered.seen.value(0).left(12), QStringLiteral("The document"));
    EXPECT_EQ(w->document().myArray.count(), 4);
    EXPECT_EQ(w->browser().undoManager().undoMenuItemTitle(), QStringLiteral("Undo Merge"));
    w->action(QStringLiteral("undo:"))->trigger();
    EXPECT_EQ(w->document().myArray.count(), 3);
    w->action(QStringLiteral("redo:"))->trigger();
    EXPECT_EQ(w->document().myArray.count(), 4);
    EXPECT_EQ(w->document().myArray.at(0).toDictionary().value(keys::note).toString(), QStringLiteral("mine"));

    // A save that finds the file changed again offers Merge, Save Anyway and Cancel.
    writeVersion(path, {{QStringLiteral("Bank"), 100, 100, QString()}, {QStringLiteral("Mail"), 200, 300, QStringLiteral("theirs")},
                        {QStringLiteral("Shop"), 300, 300, QString()}, {QStringLiteral("Forum"), 400, 400, QString()},
                        {QStringLiteral("Wiki"), 600, 600, QString()}});
    QStringList buttons;
    ModalScript atSave({[&buttons](QWidget* box) {
                            for (QAbstractButton* b : box->findChildren<QAbstractButton*>()) buttons << b->text();
                            clickButton(QStringLiteral("Merge"))(box);
                        },
                        clickButton(QStringLiteral("OK"))});
    ASSERT_TRUE(controller.saveDocument(w));
    EXPECT_TRUE(atSave.done());
    EXPECT_TRUE(buttons.contains(QStringLiteral("Save Anyway")) && buttons.contains(QStringLiteral("Cancel"))) << buttons.join(QLatin1Char(',')).toStdString();
    EXPECT_EQ(namesIn(path), (QStringList{QStringLiteral("Bank=mine"), QStringLiteral("Mail=theirs"), QStringLiteral("Shop="),
                                          QStringLiteral("Forum="), QStringLiteral("Wiki=")}));
    EXPECT_FALSE(w->isWindowModified());
    discard(w);
}

// Taking in another version of a large document deciphers all of it: the window goes on turning
// its event loop meanwhile, with the document busy (no edit, save or lock gets in between).
TEST(DocumentWindow, AnOutsideChangeIsReadInWhileTheWindowKeepsTurning) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("large.qvane"));
    std::vector<std::tuple<QString, double, double, QString>> records;
    for (int i = 0; i < 20000; ++i) records.emplace_back(QStringLiteral("Record %1").arg(i), 100, 100, QStringLiteral("note %1").arg(i));
    writeVersion(path, records);
    DocumentController controller;
    DocumentWindow* w = controller.openDocument(path);
    ASSERT_NE(w, nullptr);
    unlock(w);
    int ticksWhileBusy = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ticksWhileBusy += w->document().isBusy(); });
    ticker.start(1);

    // Clean: reloaded.
    records.emplace_back(QStringLiteral("Theirs"), 200, 200, QString());
    writeVersion(path, records);
    ASSERT_TRUE(waitFor([&] { return w->document().myArray.count() == 20001; }));
    EXPECT_GT(ticksWhileBusy, 0);

    // Edited: merged, the other file read in the same way.
    ticksWhileBusy = 0;
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    ModalScript offered({clickButton(QStringLiteral("Merge")), clickButton(QStringLiteral("OK"))});
    records.emplace_back(QStringLiteral("More of theirs"), 300, 300, QString());
    writeVersion(path, records);
    ASSERT_TRUE(waitFor([&] { return offered.done() && !QApplication::activeModalWidget(); }));
    EXPECT_EQ(w->document().myArray.count(), 20002);
    EXPECT_GT(ticksWhileBusy, 0);
    discard(w);
}

// Reading a large file to open it keeps the application's event loop turning; asking for the
// same file again meanwhile opens no second window.
TEST(DocumentController, ALargeFileIsReadWhileTheEventLoopTurns) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("notes.qvane"));
    std::vector<std::tuple<QString, double, double, QString>> records;
    for (int i = 0; i < 400; ++i)
        records.emplace_back(QStringLiteral("Record %1").arg(i), 100, 100, QString(100000, QChar(u'a' + i % 26)) + QString::number(i));
    writeVersion(path, records);
    DocumentController controller;
    int ticksWhileReading = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        if (!QApplication::overrideCursor()) return;
        ++ticksWhileReading;
        EXPECT_EQ(controller.openDocument(path), nullptr);
    });
    ticker.start(0);
    DocumentWindow* w = controller.openDocument(path);
    ticker.stop();
    ASSERT_NE(w, nullptr);
    EXPECT_GT(ticksWhileReading, 0);
    EXPECT_EQ(controller.documents().size(), 1u);
    unlock(w);
    ASSERT_TRUE(waitFor([&] { return w->document().myArray.count() == 400; }));
    discard(w);
}

// The same size and a modification time put back: the contents still tell.
TEST(DocumentController, ARewriteInPlaceThatKeepsSizeAndTimeIsNoticed) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("same.bin"));
    const QDateTime when(QDate(2026, 1, 2), QTime(3, 4, 5));
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("aaaaaaaa");
    f.flush();  // written before the time is set, so closing changes nothing
    f.setFileTime(when, QFileDevice::FileModificationTime);
    f.close();
    const FileStamp before = DocumentFile::stampOf(path);
    ASSERT_TRUE(f.open(QIODevice::ReadWrite));
    f.write("bbbbbbbb");
    f.flush();
    f.setFileTime(when, QFileDevice::FileModificationTime);
    f.close();
    const FileStamp after = DocumentFile::stampOf(path);
    ASSERT_EQ(before.size, after.size);
    ASSERT_EQ(before.modifiedNs, after.modifiedNs);
    ASSERT_EQ(before.inode, after.inode);
    EXPECT_NE(before, after);
}
