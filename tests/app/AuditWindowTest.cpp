// The window's side of sorting, column order, the search field, export, the copy notice, the
// rating and the copies that go around the document's commands.

#include "Application.h"
#include "CategoryView.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "ImportExportSheets.h"
#include "PasswordMakerWindow.h"
#include "PlatformServices.h"

#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include "support/ProcessLocale.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFontDatabase>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include "support/WindowDocuments.h"

using namespace qv;
using namespace qv::app;
using qv::test::waitFor;
using qv::test::discard;

namespace {

// A saved document of records with these names, in the category Work; opened and unlocked with
// autosaving off.
DocumentWindow* openWith(DocumentController& controller, const QString& path, const QStringList& names) {
    MyDocument doc;
    doc.prepareNewDocument();
    doc.myCategoryArray.append(Value(RecordModel::newCategory(QStringLiteral("Work"), 2)));
    for (qsizetype i = 0; i < names.size(); ++i) {
        Dictionary r = RecordModel::newRecord(1000);
        r.set(keys::name, Value(names[i]));
        r.set(keys::password, Value(QStringLiteral("pw%1").arg(i)));
        r.set(keys::categoryPtr, doc.myCategoryArray.at(doc.myCategoryArray.count() - 1));  // Work
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = QStringLiteral("secret");
    return qv::test::saveOpenAndUnlock(controller, path, doc);
}

QStringList shownNames(DocumentWindow* w) {
    QStringList names;
    QAbstractItemModel* m = w->recordTable()->model();
    const int column = TableColumns::identifiers().indexOf(QStringLiteral("name"));
    for (int row = 0; row < m->rowCount(); ++row) names << m->index(row, column).data().toString();
    return names;
}

bool markedSecretForClipboardManagers() {
    const QMimeData* m = QGuiApplication::clipboard()->mimeData();
    return m && m->data(ClipboardPasteboard::kSecretHintType) == "secret";
}

ClipboardPasteboard& pasteboardOf(Application& app) {
    return *dynamic_cast<ClipboardPasteboard*>(app.documents().services()->pasteboard);
}

// Pressed after this turn of the event loop: the watching timer's own slot has to return before
// it can see the dialogs the export opens.
void pressExport(QWidget* sheet) {
    auto* button = sheet->findChild<QPushButton*>(QStringLiteral("doExport"));
    QMetaObject::invokeMethod(button, "click", Qt::QueuedConnection);
}

class CancellingFilePanel : public FilePanel {
public:
    bool sheetShownAtPanel = true;
    QString answer;  // empty: the user cancels
    std::optional<QString> runOpenPanel(const FilePanelOptions&) override { return std::nullopt; }
    std::optional<QString> runSavePanel(const FilePanelOptions&) override {
        sheetShownAtPanel = false;
        for (QWidget* top : QApplication::topLevelWidgets())
            if (qobject_cast<ExportSheet*>(top) && top->isVisible()) sheetShownAtPanel = true;
        if (answer.isEmpty()) return std::nullopt;
        return answer;
    }
};

}  // namespace

TEST(AuditSorting, CaseIgnoredWithoutALocaleAndAPreferenceChangeResortsLockedDocuments) {
    const test::ProcessLocale c("C.UTF-8");  // a user who set no locale
    auto settings = std::make_unique<MemoryUserDefaults>();
    MemoryUserDefaults* prefs = settings.get();
    Application quorvane(std::move(settings));
    QTemporaryDir dir;
    DocumentWindow* w = openWith(quorvane.documents(), dir.filePath(QStringLiteral("sort.qvane")),
                                 {QStringLiteral("mango"), QStringLiteral("Zebra"), QStringLiteral("apple")});
    ASSERT_NE(w, nullptr);
    QHeaderView* header = w->recordTable()->horizontalHeader();

    // Names, case ignored by default even without a locale; then the document is locked and the
    // comparison changed to plain code units: it sorts again with the rest.
    header->setSortIndicator(TableColumns::identifiers().indexOf(QStringLiteral("name")), Qt::AscendingOrder);
    EXPECT_EQ(shownNames(w), (QStringList{QStringLiteral("apple"), QStringLiteral("mango"), QStringLiteral("Zebra")}));
    w->document().doLockDocument();
    ASSERT_TRUE(w->document().isEncrypted());
    prefs->setObject(QStringLiteral("tableSortCompare"), Value::integer(0));
    quorvane.preferenceChanged(QStringLiteral("tableSortCompare"));
    QStringList arranged;
    for (const Value& r : w->browser().myArrayController().arrangedObjects())
        arranged << r.toDictionary().value(keys::name).toString();
    EXPECT_EQ(arranged, (QStringList{QStringLiteral("Zebra"), QStringLiteral("apple"), QStringLiteral("mango")}));
    discard(w);
}

TEST(AuditColumns, ADraggedColumnIsSavedInItsNewPlace) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWith(controller, dir.filePath(QStringLiteral("cols.qvane")), {QStringLiteral("one")});
    ASSERT_NE(w, nullptr);
    auto order = [](const Value& array) {
        QStringList ids;
        for (const Value& e : array.toArray()) ids << e.toDictionary().value(QStringLiteral("name")).toString();
        return ids;
    };
    QStringList expected = TableColumns::identifiers();
    expected.move(expected.indexOf(QStringLiteral("usageCount")), 0);
    // Dragging Uses to the front, as the user's mouse does through the header.
    QHeaderView* header = w->recordTable()->horizontalHeader();
    header->moveSection(header->visualIndex(TableColumns::identifiers().indexOf(QStringLiteral("usageCount"))), 0);
    EXPECT_EQ(order(w->columnVisibilities()), expected);
    EXPECT_EQ(order(w->columnSizes()), expected);
    // A reload of the records keeps both the table's order and the arrays'.
    w->browser().addRow();
    EXPECT_EQ(header->logicalIndexAt(0), TableColumns::identifiers().indexOf(QStringLiteral("usageCount")));
    EXPECT_EQ(order(w->columnVisibilities()), expected);
    discard(w);
}

TEST(AuditSearchField, NewRecordEmptiesTheFieldItsFilterWasResetFrom) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWith(controller, dir.filePath(QStringLiteral("search.qvane")),
                                 {QStringLiteral("Bank"), QStringLiteral("Mail")});
    ASSERT_NE(w, nullptr);
    auto* field = w->findChild<QLineEdit*>(QStringLiteral("searchField"));
    ASSERT_NE(field, nullptr);
    QTest::keyClicks(field, QStringLiteral("ban"));
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 1);
    w->action(QStringLiteral("addRow:"))->trigger();
    EXPECT_EQ(field->text(), QString());
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 3);
    // The next keystroke searches for itself alone, not for the old text plus itself.
    QTest::keyClicks(field, QStringLiteral("m"));
    EXPECT_EQ(w->browser().searchString, QStringLiteral("m"));
    EXPECT_EQ(shownNames(w), QStringList{QStringLiteral("Mail")});
    discard(w);
}

TEST(AuditExport, TheSheetEndsBeforeTheFilePanelAndCancellingEndsTheExport) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openWith(controller, dir.filePath(QStringLiteral("export.qvane")), {QStringLiteral("one")});
    ASSERT_NE(w, nullptr);
    CancellingFilePanel panel;
    w->setFilePanel(&panel);
    // Should the sheet come back after the panel, it is sent away, so that a failure can't hang.
    int sheetsShown = 0;
    QTimer watcher;
    QObject::connect(&watcher, &QTimer::timeout, [&] {
        auto* sheet = qobject_cast<ExportSheet*>(QApplication::activeModalWidget());
        if (!sheet || sheet->property("seen").toBool()) {
            if (sheet) sheet->reject();
            return;
        }
        sheet->setProperty("seen", true);
        ++sheetsShown;
        pressExport(sheet);
    });
    watcher.start(20);
    w->action(QStringLiteral("exportAllToTextFile:"))->trigger();
    EXPECT_EQ(sheetsShown, 1);
    EXPECT_FALSE(panel.sheetShownAtPanel);
    EXPECT_TRUE(QDir(dir.path()).entryList({QStringLiteral("*.tsv")}).isEmpty());

    // A file that can't be written is still told, after the sheet has gone.
    panel.answer = dir.filePath(QStringLiteral("no such folder/out.tsv"));
    QString told;
    bool pressed = false;
    QObject::disconnect(&watcher, nullptr, nullptr, nullptr);
    QObject::connect(&watcher, &QTimer::timeout, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* sheet = qobject_cast<ExportSheet*>(modal)) {
            if (pressed) sheet->reject();
            else pressExport(sheet);
            pressed = true;
        } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            told = box->text();
            box->accept();
        }
    });
    w->action(QStringLiteral("exportAllToTextFile:"))->trigger();
    EXPECT_FALSE(panel.sheetShownAtPanel);
    EXPECT_TRUE(told.startsWith(QStringLiteral("The file could not be written."))) << told.toStdString();
    discard(w);
}

TEST(AuditCopying, NoticeIsKeyAndFloatingAndTheCountReachesTheTable) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    Application quorvane(std::move(settings));
    QTemporaryDir dir;
    DocumentWindow* w = openWith(quorvane.documents(), dir.filePath(QStringLiteral("hud.qvane")),
                                 {QStringLiteral("Bank"), QStringLiteral("Mail")});
    ASSERT_NE(w, nullptr);
    w->show();
    w->move(40, 30);
    w->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(w));
    w->recordTable()->selectRow(1);
    QSignalSpy redrawn(w->recordTable()->model(), &QAbstractItemModel::dataChanged);

    w->action(QStringLiteral("copyName:"))->trigger();
    EXPECT_EQ(w->document().myArray.at(1).toDictionary().value(keys::usageCount).toInt64(), 1);
    ASSERT_FALSE(redrawn.isEmpty());  // the Uses column shows the new count now
    const int uses = TableColumns::identifiers().indexOf(QStringLiteral("usageCount"));
    const auto last = redrawn.last();
    EXPECT_LE(last.at(0).toModelIndex().column(), uses);
    EXPECT_GE(last.at(1).toModelIndex().column(), uses);
    EXPECT_LE(last.at(0).toModelIndex().row(), 1);
    EXPECT_GE(last.at(1).toModelIndex().row(), 1);

    QWidget* hud = w->hud();
    ASSERT_NE(hud, nullptr);
    ASSERT_TRUE(hud->isVisible());
    EXPECT_TRUE(hud->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(waitFor([&] { return hud->isActiveWindow(); }));
    const QPoint screenCentre = w->screen()->availableGeometry().center();
    EXPECT_LE((hud->frameGeometry().center() - screenCentre).manhattanLength(), 2);
    // When it goes, the keyboard is the document's again.
    ASSERT_TRUE(waitFor([&] { return !hud->isVisible(); }));
    EXPECT_TRUE(waitFor([&] { return w->isActiveWindow(); }));
    discard(w);
}

TEST(AuditCopying, GeneratorAndCategoryCopiesAreMarkedAndCleared) {
    auto settings = std::make_unique<MemoryUserDefaults>();
    MemoryUserDefaults* prefs = settings.get();
    Application quorvane(std::move(settings));
    prefs->setObject(QStringLiteral("clearClipboardAfter"), Value::integer(30));
    ClipboardPasteboard& pasteboard = pasteboardOf(quorvane);
    QGuiApplication::clipboard()->setText(QStringLiteral("something else"));

    PasswordMakerWindow& maker = quorvane.passwordMaker();
    maker.showPasswordMaker();
    QTest::mouseClick(maker.findChild<QPushButton*>(QStringLiteral("copyGeneratedPassword")), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), maker.password());
    EXPECT_TRUE(markedSecretForClipboardManagers());
    EXPECT_TRUE(pasteboard.isClearPending());
    maker.close();

    QGuiApplication::clipboard()->setText(QStringLiteral("something else"));
    QTemporaryDir dir;
    DocumentWindow* w =
        openWith(quorvane.documents(), dir.filePath(QStringLiteral("cat.qvane")), {QStringLiteral("Bank")});
    ASSERT_NE(w, nullptr);
    w->recordTable()->selectRow(0);
    auto* category = w->findChild<CategoryView*>(QStringLiteral("categoryView"));
    ASSERT_NE(category, nullptr);
    QTest::mouseClick(category, Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("Work"));
    EXPECT_TRUE(markedSecretForClipboardManagers());
    EXPECT_TRUE(pasteboard.isClearPending());
    EXPECT_EQ(w->document().myArray.at(0).toDictionary().value(keys::usageCount).toInt64(), 0);  // no use counted
    discard(w);
}

TEST(AuditRating, TextIsBlackElevenHighInItsFifteenHighBand) {
    PasswordQualityView view;
    QPalette red = view.palette();
    red.setColor(QPalette::WindowText, Qt::red);
    view.setPalette(red);  // a theme's colour must not reach the text
    view.resize(260, 30);
    view.SetQualityValue(3);  // two stars, "2/10"
    QImage shot(view.size(), QImage::Format_ARGB32);
    shot.fill(Qt::white);
    view.render(&shot);

    // What an 11-high default sans draws of "2/10", black on white, for comparison.
    QImage reference(view.size(), QImage::Format_ARGB32);
    reference.fill(Qt::white);
    {
        QPainter p(&reference);
        QFont f = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
        f.setPixelSize(11);
        p.setFont(f);
        p.setPen(Qt::black);
        p.drawText(QPointF(0, QFontMetricsF(f).ascent()), QStringLiteral("2/10"));
    }
    struct Ink {
        int left = 1 << 20, top = 1 << 20, right = -1, bottom = -1;
        bool coloured = false;
    };
    auto inkOf = [](const QImage& image, int fromX) {
        Ink ink;
        for (int y = 0; y < image.height(); ++y)
            for (int x = fromX; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (c.lightness() > 200) continue;
                ink.left = std::min(ink.left, x);
                ink.right = std::max(ink.right, x);
                ink.top = std::min(ink.top, y);
                ink.bottom = std::max(ink.bottom, y);
                if (std::abs(c.red() - c.green()) > 40) ink.coloured = true;
            }
        return ink;
    };
    const Ink text = inkOf(shot, 2 * 19);
    const Ink expected = inkOf(reference, 0);
    ASSERT_GE(text.right, 0) << "no text drawn";
    EXPECT_FALSE(text.coloured);
    // Within a pixel, for the rounding of anti-aliased edges.
    EXPECT_NEAR(text.left, 2 * 19 + expected.left, 1);
    EXPECT_NEAR(text.right - text.left, expected.right - expected.left, 1);
    EXPECT_NEAR(text.bottom - text.top, expected.bottom - expected.top, 1);
    EXPECT_LT(text.bottom, 15);
}
