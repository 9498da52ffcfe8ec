// Opening, saving and locking a document run their long steps on a worker, and importing a file
// makes its records there: the window's event loop turns meanwhile, other windows take input, the
// busy document takes none, and the result is what it was when those steps held the interface
// thread.

#include "DocumentController.h"
#include "DocumentWindow.h"
#include "ForeignSheets.h"
#include "ImportExportSheets.h"

#include "document/DocumentKeys.h"
#include "document/PasswordTexts.h"
#include "document/RecordModel.h"
#include "browsing/DocumentBrowser.h"
#include "importexport/ForeignImport.h"
#include "importexport/ZKDataImportManager.h"

#include <QApplication>
#include <QFile>
#include <QRegularExpression>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include "support/ModalScript.h"
#include "support/WindowDocuments.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

using namespace qv;
using namespace qv::app;
using qv::test::clickButton;
using qv::test::contents;
using qv::test::ModalScript;
using qv::test::waitFor;

namespace {

void writeDocument(const QString& path, int count) {
    MyDocument doc;
    doc.prepareNewDocument();
    doc.myCategoryArray.append(Value(RecordModel::newCategory(QStringLiteral("Work"), 2)));
    for (int i = 0; i < count; ++i) {
        Dictionary r = RecordModel::newRecord(0);
        r.set(keys::name, Value(QStringLiteral("Record %1").arg(i)));
        r.set(keys::password, Value(QStringLiteral("pw%1").arg(i)));
        r.set(keys::categoryPtr, doc.myCategoryArray.at(i % 2));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = QStringLiteral("secret");
    ASSERT_TRUE(DocumentFile::writeAtomically(path, doc.dataOfType(QString()).value()).ok());
}

// The names of a document's records, in order, as the file at `path` opens with "secret".
QStringList namesInFile(const QString& path) {
    MyDocument doc;
    if (!DocumentFile::load(path, doc) || !DocumentFile::unlock(doc, QStringLiteral("secret"))) return {};
    QStringList names;
    for (const Value& r : doc.myArray) names << r.toDictionary().value(keys::name).toString();
    return names;
}

// Wraps the window's worker so that each long step waits, on its worker, until the interface
// thread has turned its event loop and run `whileBusy` there. A window that ran the step on its
// own thread would never let the timer fire during it: the step then goes on after a while, and
// `turnedDuringWork` stays short of `steps`.
struct HeldWorker {
    DocumentWindow* window;
    std::function<void()> whileBusy;
    int steps = 0;
    int turnedDuringWork = 0;
    bool workedOffTheInterfaceThread = true;

    void install() {
        window->document().runOffThread = [this](const std::function<void()>& work) {
            ++steps;
            // Shared with the timer, which a window that held its thread would only run later.
            struct Gate {
                std::mutex m;
                std::condition_variable cv;
                bool released = false;
            };
            auto gate = std::make_shared<Gate>();
            QTimer::singleShot(0, window, [this, gate] {
                ++turnedDuringWork;
                if (whileBusy) whileBusy();
                std::lock_guard lock(gate->m);
                gate->released = true;
                gate->cv.notify_all();
            });
            QThread* const gui = QThread::currentThread();
            window->runOffThread([&] {
                if (QThread::currentThread() == gui) workedOffTheInterfaceThread = false;
                std::unique_lock lock(gate->m);
                gate->cv.wait_for(lock, std::chrono::seconds(3), [&] { return gate->released; });
                lock.unlock();
                work();
            });
        };
    }
};

// A window of its own that stands for the generator or another document: it must keep taking keys.
struct OtherWindow {
    QLineEdit field;
    OtherWindow() {
        field.show();
        field.activateWindow();
    }
    bool takesTyping() {
        field.clear();
        QTest::keyClicks(&field, QStringLiteral("ok"));
        return field.text() == QStringLiteral("ok");
    }
};

// The document at `path` opened in a window of `controller` and unlocked, autosaving off.
DocumentWindow* openUnlocked(DocumentController& controller, const QString& path) {
    controller.setAutosavingDelay(0);
    DocumentWindow* w = controller.openDocument(path);
    if (!w) return nullptr;
    QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("secret"));
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    return w;
}

}  // namespace

TEST(WindowStaysResponsive, OpeningDeciphersOnAWorkerAndRefusesTheBusyDocument) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("open.qvane"));
    writeDocument(path, 300);
    const QByteArray before = contents(path);
    DocumentController controller;
    controller.setAutosavingDelay(0);

    // A wrong password: the same sheet as ever, after the attempt, and the document stays locked.
    DocumentWindow* w = controller.openDocument(path);
    ASSERT_NE(w, nullptr);
    HeldWorker held{w};
    held.install();
    ModalScript wrong({clickButton(QStringLiteral("OK"))});
    QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("wrong!"));
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    ASSERT_TRUE(waitFor([&] { return wrong.done() && !QApplication::activeModalWidget(); }));
    EXPECT_EQ(wrong.seen.value(0), texts::wrongPassword);
    EXPECT_TRUE(w->document().isEncrypted());
    EXPECT_FALSE(w->document().isBusy());
    EXPECT_EQ(held.steps, 1);
    EXPECT_EQ(held.turnedDuringWork, 1);

    // The right one: while the worker deciphers, the bar shows, other windows take keys, and
    // this window takes neither keys, a second Return, closing nor Save.
    OtherWindow other;
    auto* progress = w->findChild<QProgressBar*>();
    ASSERT_NE(progress, nullptr);
    bool busy = false, barShown = false, otherTyped = false, keysRefused = false, closeRefused = false;
    held.whileBusy = [&] {
        busy = w->document().isBusy();
        if (!busy) return;  // run after the work: keys now would start another attempt
        barShown = progress->isVisible();
        otherTyped = other.takesTyping();
        QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("xyz"));
        QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
        keysRefused = w->passwordToDecryptField()->text() == QStringLiteral("secret");
        closeRefused = !w->close();
        w->action(QStringLiteral("saveDocument:"))->trigger();
    };
    w->passwordToDecryptField()->clear();
    QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("secret"));
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    EXPECT_EQ(held.steps, 2);  // the second Return started nothing
    EXPECT_EQ(held.turnedDuringWork, 2);
    EXPECT_TRUE(held.workedOffTheInterfaceThread);
    EXPECT_TRUE(busy);
    EXPECT_TRUE(barShown);
    EXPECT_TRUE(otherTyped);
    EXPECT_TRUE(keysRefused);
    EXPECT_TRUE(closeRefused);

    // Opened as before: every record in the table, the field emptied, the bar gone, nothing
    // written, the window still there.
    EXPECT_FALSE(w->document().isEncrypted());
    EXPECT_FALSE(w->document().isBusy());
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 300);
    EXPECT_TRUE(w->passwordToDecryptField()->text().isEmpty());
    EXPECT_FALSE(progress->isVisible());
    EXPECT_FALSE(w->isWindowModified());
    EXPECT_EQ(contents(path), before);
    EXPECT_EQ(controller.documents().size(), 1u);
    EXPECT_TRUE(w->document().documentCreationDate.isDate());
    w->close();
}

TEST(WindowStaysResponsive, SavingAndLockingEncipherOnAWorkerAndALockWaitsForTheSave) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("save.qvane"));
    writeDocument(path, 200);
    DocumentController controller;
    DocumentWindow* w = openUnlocked(controller, path);
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->document().isEncrypted());

    MyDocument& doc = w->document();
    doc.myArray.at(7).toDictionary().set(keys::name, Value(QStringLiteral("Renamed")));
    doc.updateChangeCount(ZKCryptoDoc::kChangeDone);
    QStringList expected = namesInFile(path);
    ASSERT_EQ(expected.size(), 200);
    expected[7] = QStringLiteral("Renamed");

    // Save: while the tables are enciphered, the search field takes no keys, a second save and
    // the lock command are refused, and other windows take input.
    HeldWorker held{w};
    held.install();
    OtherWindow other;
    QLineEdit* search = w->findChild<QLineEdit*>(QStringLiteral("searchField"));
    ASSERT_NE(search, nullptr);
    bool busy = false, otherTyped = false, searchRefused = false, saveRefused = false, lockRefused = false;
    held.whileBusy = [&] {
        busy = doc.isBusy();
        if (!busy) return;  // run after the work: a save now would simply save again
        otherTyped = other.takesTyping();
        QTest::keyClicks(search, QStringLiteral("Rec"));
        searchRefused = search->text().isEmpty();
        saveRefused = !controller.saveDocument(w);
        w->action(QStringLiteral("lockDocument:"))->trigger();
        lockRefused = !QApplication::activeModalWidget() && !doc.isLockPending();
    };
    ASSERT_TRUE(controller.saveDocument(w));
    EXPECT_EQ(held.steps, 1);  // the refused save started no second step
    EXPECT_EQ(held.turnedDuringWork, 1);
    EXPECT_TRUE(held.workedOffTheInterfaceThread);
    EXPECT_TRUE(busy);
    EXPECT_TRUE(otherTyped);
    EXPECT_TRUE(searchRefused);
    EXPECT_TRUE(saveRefused);
    EXPECT_TRUE(lockRefused);
    EXPECT_FALSE(w->isWindowModified());
    EXPECT_EQ(namesInFile(path), expected);
    EXPECT_EQ(doc.myArray.count(), 200);

    // The lock command: the sheet, then the enciphering on a worker, then the locked page.
    held.whileBusy = [&] { busy = doc.isBusy() && !doc.isEncrypted(); };
    busy = false;
    ModalScript confirm({clickButton(QStringLiteral("OK"))});
    w->action(QStringLiteral("lockDocument:"))->trigger();
    ASSERT_TRUE(waitFor([&] { return doc.isEncrypted() && !doc.isBusy(); }));
    EXPECT_EQ(held.steps, 2);
    EXPECT_TRUE(busy);
    QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("secret"));
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    ASSERT_FALSE(doc.isEncrypted());
    EXPECT_EQ(held.steps, 3);
    EXPECT_EQ(doc.myArray.count(), 200);
    EXPECT_EQ(doc.myArray.at(7).toDictionary().value(keys::name).toString(), QStringLiteral("Renamed"));

    // A background lock that comes while a save enciphers waits for it: the file is written
    // whole, then the document locks.
    doc.myArray.at(8).toDictionary().set(keys::name, Value(QStringLiteral("Again")));
    doc.updateChangeCount(ZKCryptoDoc::kChangeDone);
    expected[8] = QStringLiteral("Again");
    bool lockedDuringSave = true, asked = false;
    held.whileBusy = [&] {
        if (std::exchange(asked, true)) return;  // the lock's own step, later
        doc.lockAutomatically();
        QTest::qWait(20);  // the lock's queued step gets its chance to run
        lockedDuringSave = doc.isEncrypted();
    };
    ASSERT_TRUE(controller.saveDocument(w));
    EXPECT_FALSE(lockedDuringSave);
    EXPECT_EQ(namesInFile(path), expected);
    ASSERT_TRUE(waitFor([&] { return doc.isEncrypted() && !doc.isBusy(); }));
    EXPECT_EQ(w->passwordToDecryptField()->text(), QString());
    w->close();
}

TEST(WindowStaysResponsive, RunningOutOfMemoryOnTheWorkerEndsTheAttemptWithItsMessage) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("starved.qvane"));
    writeDocument(path, 20);
    DocumentController controller;
    controller.setAutosavingDelay(0);
    DocumentWindow* w = controller.openDocument(path);
    ASSERT_NE(w, nullptr);
    // The worker's step fails as a large allocation would, on the worker.
    w->document().runOffThread = [w](const std::function<void()>&) {
        w->runOffThread([] { throw std::bad_alloc(); });
    };
    ModalScript told({clickButton(QStringLiteral("OK"))});
    QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("secret"));
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    ASSERT_TRUE(waitFor([&] { return told.done() && !QApplication::activeModalWidget(); }));
    EXPECT_TRUE(told.seen.value(0).startsWith(QStringLiteral("There is not enough memory to open the records")))
        << told.seen.value(0).toStdString();
    EXPECT_TRUE(w->document().isEncrypted());
    EXPECT_FALSE(w->document().isBusy());
    EXPECT_FALSE(w->findChild<QProgressBar*>()->isVisible());

    // With memory again, the same window opens the document.
    w->document().runOffThread = [w](const std::function<void()>& work) { w->runOffThread(work); };
    w->passwordToDecryptField()->clear();
    QTest::keyClicks(w->passwordToDecryptField(), QStringLiteral("secret"));
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    EXPECT_FALSE(w->document().isEncrypted());
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 20);
    w->close();
}

// ---- Importing ----

namespace {

constexpr double kImportClock = 700000000.0;

// A text file of `rows` rows in the order the import sheet maps by default (category, name, URL,
// account, user ID, password). Titles repeat among a few categories, one of them the document's
// own "Work", and every seventh row has none, so it takes the category chosen for new records.
void writeImportText(const QString& path, int rows) {
    QByteArray text;
    for (int i = 0; i < rows; ++i) {
        const QString category = i % 7 == 3 ? QString() : i % 5 == 0 ? QStringLiteral("Work") : QStringLiteral("Group %1").arg(i % 13);
        text += QStringLiteral("%1\tEntry %2\thttps://e%2.example\tacct%2\tuser%2\tpw%2\n").arg(category).arg(i).toUtf8();
    }
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text);
}

// Everything an import decides, in order: each record's keys and values (its category by title
// and id), then each category with its count and its records' names.
QStringList importOutcome(MyDocument& doc) {
    auto show = [](const Value& v) {
        if (v.isDictionary()) {
            const Dictionary c = v.toDictionary();
            return QStringLiteral("category(%1 #%2)")
                .arg(c.value(keys::cat_category).toString())
                .arg(c.value(keys::cat_uniqueID).toInt64());
        }
        if (v.isDate()) return QStringLiteral("date %1").arg(v.toDouble(), 0, 'f', 3);
        return v.toString() + QStringLiteral(" #") + QString::number(v.toInt64());
    };
    QStringList out;
    for (const Value& r : doc.myArray) {
        const Dictionary d = r.toDictionary();
        QStringList fields;
        for (qsizetype k = 0; k < d.count(); ++k) fields << d.keyAt(k) + QLatin1Char('=') + show(d.valueAt(k));
        out << fields.join(QLatin1Char('|'));
    }
    for (const Value& c : doc.myCategoryArray) {
        const Dictionary d = c.toDictionary();
        QStringList names;
        for (const Value& r : d.value(keys::records).toArray()) names << r.toDictionary().value(keys::name).toString();
        out << show(c) + QStringLiteral(" uses %1: ").arg(d.value(keys::cat_howManyUsingThis).toInt64()) +
                   names.join(QLatin1Char(','));
    }
    return out;
}

// The same import done the way the command line does it, on the interface thread, from start to
// end: the records of `text` into the document at `path`, with the sheet's default mapping.
QStringList importedSynchronously(const QString& path, const QString& text) {
    MyDocument doc;
    if (!DocumentFile::load(path, doc) || !DocumentFile::unlock(doc, QStringLiteral("secret"))) return {};
    DocumentBrowser browser(doc);
    browser.bindTables();
    MyDataImportManager m(doc.myArray, doc.myKeyArrayForImport);
    m.now = [] { return kImportClock; };
    m.loadDataFromFile(text, 0, 0);
    m.ImportSettings();
    m.AssignCascadeImportFields();
    m.DoImport();
    browser.justFinishedImporting();
    return importOutcome(doc);
}

// Answers the open panel with one file, as text (`format` empty) or as another program's format.
class OneFilePanel : public FilePanel {
public:
    explicit OneFilePanel(QString path, QString format = {}) : path_(std::move(path)), format_(std::move(format)) {}
    std::optional<QString> runOpenPanel(const FilePanelOptions& options) override {
        if (options.chosenType && !format_.isEmpty())
            for (int i = 1; !formatForChoice(i).isEmpty(); ++i)
                if (formatForChoice(i) == format_) *options.chosenType = i;
        return path_;
    }
    std::optional<QString> runSavePanel(const FilePanelOptions&) override { return std::nullopt; }

private:
    QString path_, format_;
};

// Answers the import sheet, once, with its default mapping and the given clock (fixed unless
// told), and any message with OK, noting its text; the reading's progress dialog, should it
// show, is left alone.
class ImportSheetAnswerer {
public:
    bool answered = false;
    QStringList messages;
    explicit ImportSheetAnswerer(std::function<double()> clock = [] { return kImportClock; }) {
        timer_.setInterval(20);
        QObject::connect(&timer_, &QTimer::timeout, [this, clock] {
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                messages << box->text();
                clickButton(QStringLiteral("OK"))(box);
                return;
            }
            auto* sheet = qobject_cast<ImportSheet*>(modal);
            if (!sheet || answered) return;
            answered = true;
            sheet->manager().now = clock;
            clickButton(QStringLiteral("Import"))(sheet);
        });
        timer_.start();
    }

private:
    QTimer timer_;
};

// Counts paint events of one widget.
struct PaintCounter : QObject {
    int paints = 0;
    bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() == QEvent::Paint) ++paints;
        return false;
    }
};

}  // namespace

TEST(WindowStaysResponsive, ImportingMakesRecordsOnAWorkerTakesThemInBetweenTurnsAndRefusesTheBusyDocument) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("import.qvane"));
    const QString text = dir.filePath(QStringLiteral("rows.txt"));
    writeDocument(path, 30);
    constexpr int kRows = 60000;
    writeImportText(text, kRows);
    const QStringList expected = importedSynchronously(path, text);
    ASSERT_GT(expected.size(), 30 + kRows + 13);  // the records, then the categories, 13 of them new
    const QByteArray fileBefore = contents(path);

    DocumentController controller;
    DocumentWindow* w = openUnlocked(controller, path);
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->document().isEncrypted());
    MyDocument& doc = w->document();
    OneFilePanel panel(text);
    w->setFilePanel(&panel);

    // While the worker makes the records: the document is busy and still as it was, other
    // windows take keys, and this one takes no keys, New Record, Save nor closing.
    HeldWorker held{w};
    held.install();
    OtherWindow other;
    QLineEdit* search = w->findChild<QLineEdit*>(QStringLiteral("searchField"));
    ASSERT_NE(search, nullptr);
    bool busy = false, untouched = false, otherTyped = false, keysRefused = false, commandsRefused = false,
         closeRefused = false;
    held.whileBusy = [&] {
        busy = doc.isBusy();
        if (!busy) return;  // the reading of the file, before the sheet: no import yet
        untouched = doc.myArray.count() == 30;
        otherTyped = other.takesTyping();
        QTest::keyClicks(search, QStringLiteral("Entry"));
        keysRefused = search->text().isEmpty();
        w->action(QStringLiteral("addRow:"))->trigger();
        w->action(QStringLiteral("saveDocument:"))->trigger();
        commandsRefused = doc.myArray.count() == 30 && contents(path) == fileBefore;
        closeRefused = !w->close();
    };
    // Once the records are in and their categories are given out, the event loop still turns:
    // a timer runs, the table repaints, and the same refusals hold.
    int turnsTakingIn = 0, refusedTakingIn = 0;
    PaintCounter painted;
    w->recordTable()->viewport()->installEventFilter(&painted);
    int paintsBefore = -1;
    QTimer tick;
    tick.setInterval(1);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        if (!doc.isBusy() || doc.myArray.count() == 30) return;
        if (++turnsTakingIn == 1) paintsBefore = painted.paints;
        w->recordTable()->viewport()->update();
        w->action(QStringLiteral("addRow:"))->trigger();
        if (!w->close() && doc.myArray.count() == 30 + kRows) ++refusedTakingIn;
    });
    tick.start();
    ImportSheetAnswerer answer;
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    tick.stop();

    EXPECT_TRUE(answer.answered);
    EXPECT_TRUE(held.workedOffTheInterfaceThread);
    EXPECT_GE(held.turnedDuringWork, 1);
    EXPECT_TRUE(busy);
    EXPECT_TRUE(untouched);
    EXPECT_TRUE(otherTyped);
    EXPECT_TRUE(keysRefused);
    EXPECT_TRUE(commandsRefused);
    EXPECT_TRUE(closeRefused);
    EXPECT_GE(turnsTakingIn, 2);
    EXPECT_EQ(refusedTakingIn, turnsTakingIn);
    EXPECT_GT(painted.paints, paintsBefore);
    EXPECT_FALSE(doc.isBusy());

    // The same records, categories, order, dates and counts as the import in one go, and the
    // window shows them all.
    EXPECT_EQ(importOutcome(doc), expected);
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 30 + kRows);
    EXPECT_TRUE(w->isWindowModified());
    EXPECT_EQ(controller.documents().size(), 1u);
    qv::test::discard(w);
}

TEST(WindowStaysResponsive, ALockThatFallsDueDuringAnImportWaitsForIt) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("lock.qvane"));
    const QString text = dir.filePath(QStringLiteral("rows.txt"));
    writeDocument(path, 10);
    writeImportText(text, 500);
    DocumentController controller;
    DocumentWindow* w = openUnlocked(controller, path);
    ASSERT_NE(w, nullptr);
    MyDocument& doc = w->document();
    ASSERT_FALSE(doc.isEncrypted());
    OneFilePanel panel(text);
    w->setFilePanel(&panel);

    HeldWorker held{w};
    held.install();
    bool asked = false, lockedDuringImport = true;
    held.whileBusy = [&] {
        if (!doc.isBusy() || std::exchange(asked, true)) return;
        doc.lockAutomatically();
        QTest::qWait(20);  // the lock's queued step gets its chance to run
        lockedDuringImport = doc.isEncrypted() || doc.isLockPending();
    };
    ImportSheetAnswerer answer;
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    ASSERT_TRUE(asked);
    EXPECT_FALSE(lockedDuringImport);
    // Every row is in, each with its category, and then the document locks.
    EXPECT_EQ(doc.myArray.count(), 510);
    ASSERT_TRUE(waitFor([&] { return doc.isEncrypted() && !doc.isBusy(); }));
    EXPECT_EQ(doc.myArray.count(), 510);
    for (const Value& r : doc.myArray) {
        EXPECT_TRUE(r.toDictionary().value(keys::categoryPtr).isDictionary());
        EXPECT_FALSE(r.toDictionary().contains(keys::categoryNAME));
    }
    qv::test::discard(w);
}

TEST(WindowStaysResponsive, ImportingAnotherProgramsFileTakesTheRecordsInBetweenTurnsWithTheSameResult) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("foreign.qvane"));
    const QString csv = dir.filePath(QStringLiteral("passwords.csv"));
    writeDocument(path, 30);
    constexpr int kEntries = 60000;
    {
        QByteArray text = "name,url,username,password,note\n";
        for (int i = 0; i < kEntries; ++i)
            text += QStringLiteral("Site %1,https://s%1.example,u%1,p%1,\"note, %1\"\n").arg(i).toUtf8();
        QFile f(csv);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text);
    }
    // The same file taken in at once, without a window. Creation and change dates come from the
    // clock when the file has none; only their presence is compared.
    QStringList expected;
    {
        MyDocument doc;
        ASSERT_TRUE(DocumentFile::load(path, doc) && DocumentFile::unlock(doc, QStringLiteral("secret")));
        DocumentBrowser browser(doc);
        browser.bindTables();
        ForeignRecordMaker maker;
        QFile f(csv);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        ASSERT_TRUE(ForeignImport::read(QStringLiteral("chrome-csv"), f.readAll(), QString(),
                                        [&maker](ForeignEntry&& e) { maker.add(std::move(e)); }));
        ASSERT_EQ(maker.commit(browser), kEntries);
        expected = importOutcome(doc);
    }
    const auto withoutDates = [](QStringList outcome) {
        static const QRegularExpression date(QStringLiteral("date [0-9.]+"));
        for (QString& line : outcome) line.replace(date, QStringLiteral("date"));
        return outcome;
    };

    DocumentController controller;
    DocumentWindow* w = openUnlocked(controller, path);
    ASSERT_NE(w, nullptr);
    MyDocument& doc = w->document();
    ASSERT_FALSE(doc.isEncrypted());
    OneFilePanel panel(csv, QStringLiteral("chrome-csv"));
    w->setFilePanel(&panel);

    // While the entries become records the event loop turns, the document is busy and refuses
    // New Record and closing, and other windows take keys.
    OtherWindow other;
    int turnsTakingIn = 0, refused = 0, otherTyped = 0;
    QTimer tick;
    tick.setInterval(1);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        if (!doc.isBusy()) return;
        ++turnsTakingIn;
        const qsizetype before = doc.myArray.count();
        w->action(QStringLiteral("addRow:"))->trigger();
        if (!w->close() && doc.myArray.count() == before) ++refused;
        if (other.takesTyping()) ++otherTyped;
    });
    tick.start();
    bool answered = false;
    QTimer answer;
    answer.setInterval(20);
    QObject::connect(&answer, &QTimer::timeout, [&] {
        auto* sheet = qobject_cast<ForeignImportSheet*>(QApplication::activeModalWidget());
        if (!sheet || std::exchange(answered, true)) return;
        clickButton(QStringLiteral("Import"))(sheet);
    });
    answer.start();
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    tick.stop();
    ASSERT_TRUE(answered);
    EXPECT_GE(turnsTakingIn, 2);
    EXPECT_EQ(refused, turnsTakingIn);
    EXPECT_EQ(otherTyped, turnsTakingIn);
    EXPECT_FALSE(doc.isBusy());
    EXPECT_EQ(withoutDates(importOutcome(doc)), withoutDates(expected));
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 30 + kEntries);
    qv::test::discard(w);
}

TEST(WindowStaysResponsive, RunningOutOfMemoryWhileMakingTheRecordsAddsNoneAndTellsTheUser) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("starved-import.qvane"));
    const QString text = dir.filePath(QStringLiteral("rows.txt"));
    writeDocument(path, 10);
    writeImportText(text, 2000);
    DocumentController controller;
    DocumentWindow* w = openUnlocked(controller, path);
    ASSERT_NE(w, nullptr);
    MyDocument& doc = w->document();
    ASSERT_FALSE(doc.isEncrypted());
    const QStringList before = importOutcome(doc);
    OneFilePanel panel(text);
    w->setFilePanel(&panel);

    // Memory runs out on the worker after some hundred records were made.
    std::atomic<int> clockReads{0};
    ImportSheetAnswerer answer([&clockReads] {
        if (++clockReads > 600) throw std::bad_alloc();
        return kImportClock;
    });
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    ASSERT_TRUE(answer.answered);
    EXPECT_GT(clockReads.load(), 600);
    ASSERT_EQ(answer.messages.size(), 1);
    EXPECT_TRUE(answer.messages[0].startsWith(QStringLiteral("The import of \"rows.txt\" was stopped: there is not enough memory")))
        << answer.messages[0].toStdString();
    // Nothing was added, no category was made or changed, and the document is as it was.
    EXPECT_EQ(importOutcome(doc), before);
    EXPECT_EQ(w->recordTable()->model()->rowCount(), 10);
    EXPECT_FALSE(doc.isBusy());
    EXPECT_FALSE(w->isWindowModified());
    // The window takes commands again.
    w->action(QStringLiteral("addRow:"))->trigger();
    EXPECT_EQ(doc.myArray.count(), 11);
    qv::test::discard(w);
}
