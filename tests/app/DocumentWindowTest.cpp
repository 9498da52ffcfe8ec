#include "Application.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "DropArea.h"
#include "ImportExportSheets.h"
#include "PasswordMakerWindow.h"
#include "PasswordSheet.h"

#include "crypto/CryptoTexts.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "foundation/KeyedArchive.h"

#include <QApplication>
#include <QCheckBox>
#include <QListWidget>
#include <QMenu>
#include <QToolButton>
#include <QClipboard>
#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QLabel>
#include <QComboBox>
#include <QSplitter>
#include <QTableWidget>
#include <QFile>
#include <QFileInfo>
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

#include <deque>

using namespace qv;
using namespace qv::app;

namespace {

// Answers the modal dialogs that the window opens, one scripted step per dialog, by acting on
// the real widgets as a user would. Every dialog seen is logged by its text.
class ModalScript {
public:
    using Step = std::function<void(QWidget*)>;
    explicit ModalScript(std::deque<Step> steps) : steps_(std::move(steps)) { arm(); }
    QStringList seen;
    bool done() const { return steps_.empty(); }

private:
    void arm() {
        QTimer::singleShot(20, [this] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal && !steps_.empty() && modal != last_) {
                last_ = modal;
                if (auto* box = qobject_cast<QMessageBox*>(modal)) seen << box->text();
                else seen << modal->objectName();
                auto step = std::move(steps_.front());
                steps_.pop_front();
                step(modal);
            }
            if (!steps_.empty()) arm();
        });
    }
    std::deque<Step> steps_;
    QWidget* last_ = nullptr;
};

ModalScript::Step typePasswords(const QString& a, const QString& b) {
    return [a, b](QWidget* w) {
        auto* sheet = qobject_cast<PasswordSheet*>(w);
        ASSERT_NE(sheet, nullptr);
        QTest::keyClicks(sheet->newField(), a);
        QTest::keyClicks(sheet->retypeField(), b);
        QTest::mouseClick(sheet->findChild<QPushButton*>(QStringLiteral("confirm")), Qt::LeftButton);
    };
}

ModalScript::Step clickButton(const QString& title) {
    return [title](QWidget* w) {
        for (QAbstractButton* b : w->findChildren<QAbstractButton*>())
            if (b->text() == title) return QTest::mouseClick(b, Qt::LeftButton);
        QStringList all;
        for (QAbstractButton* b : w->findChildren<QAbstractButton*>()) all << b->text();
        FAIL() << "no button " << title.toStdString() << " in " << w->metaObject()->className() << ": "
               << all.join(QStringLiteral(", ")).toStdString();
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
    EXPECT_TRUE(DocumentController::writeAtomically(path, doc.dataOfType(QString()).value(), nullptr));
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

// Closes without the save question.
void discard(DocumentWindow* w) {
    w->document().updateChangeCount(ZKCryptoDoc::kChangeCleared);
    w->close();
}

QByteArray contents(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool waitFor(const std::function<bool()>& cond) {
    for (int i = 0; i < 400 && !cond(); ++i) QTest::qWait(10);
    return cond();
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
    ASSERT_TRUE(DocumentController::writeAtomically(path, KeyedArchiver::archivedDataWithRootObject(Value(root)).value(),
                                                    nullptr));
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
