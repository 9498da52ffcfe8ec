// The document window on 100 000 records (offscreen): showing the records once they are
// decrypted, one scroll step with its repaint, and the longest time the event loop is kept from
// turning by each of the long operations on such a document.

#include "BenchDocument.h"

#include "DocumentController.h"
#include "DocumentWindow.h"
#include "ForeignSheets.h"
#include "ImportExportSheets.h"

#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

using namespace qv;

namespace {

std::unique_ptr<MyDocument> bigDocument() {
    auto d = bench::makeDocument(100000);
    d->plainPassword = QStringLiteral("protected");  // no mandatory password sheet
    return d;
}

void BM_ShowRecordsInWindow(benchmark::State& state) {
    app::DocumentWindow window(bigDocument(), QString(), nullptr);
    window.resize(1100, 700);
    window.show();
    for (auto _ : state) {
        window.document().onTablesInstalled();  // what a decryption ends with
        QApplication::processEvents();
    }
}
BENCHMARK(BM_ShowRecordsInWindow)->Unit(benchmark::kMillisecond);

void BM_ScrollStep(benchmark::State& state) {
    app::DocumentWindow window(bigDocument(), QString(), nullptr);
    window.resize(1100, 700);
    window.show();
    window.document().onTablesInstalled();
    QScrollBar* bar = window.recordTable()->verticalScrollBar();
    int value = 0;
    for (auto _ : state) {
        value = (value + bar->pageStep()) % std::max(1, bar->maximum());
        bar->setValue(value);
        benchmark::DoNotOptimize(window.recordTable()->viewport()->grab());  // renders the rows now shown
    }
}
BENCHMARK(BM_ScrollStep)->Unit(benchmark::kMillisecond);

// ---- The longest stall of the interface thread ----

// Measures the longest gap between two turns of the event loop: a 1 ms timer notes when it
// fires, so a gap is the time the loop could not run it (plus up to the 1 ms of its interval).
class StallMeter {
public:
    StallMeter() {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setInterval(1);
        QObject::connect(&timer_, &QTimer::timeout, [this] { tick(); });
    }
    void start() {
        longest_ = 0;
        last_.start();
        timer_.start();
    }
    double stop() {
        tick();
        timer_.stop();
        return longest_;
    }

private:
    void tick() {
        longest_ = std::max(longest_, double(last_.nsecsElapsed()) / 1e6);
        last_.restart();
    }
    QTimer timer_;
    QElapsedTimer last_;
    double longest_ = 0;
};

// Answers the sheets the operations open, as a user would: the import and export sheets with
// their default choices (every field exported), any message with its default button.
class SheetAnswerer {
public:
    SheetAnswerer() {
        timer_.setInterval(20);
        QObject::connect(&timer_, &QTimer::timeout, [] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal || qobject_cast<QProgressDialog*>(modal)) return;
            auto click = [modal](const char* name) {
                if (auto* b = modal->findChild<QPushButton*>(QLatin1String(name))) b->click();
            };
            if (qobject_cast<app::ImportSheet*>(modal) || qobject_cast<app::ForeignImportSheet*>(modal)) {
                click("doImport");
            } else if (qobject_cast<app::ExportSheet*>(modal)) {
                click("addAllToRight");
                click("doExport");
            } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                if (box->defaultButton()) box->defaultButton()->click();
                else box->done(0);
            }
        });
        timer_.start();
    }

private:
    QTimer timer_;
};

// Answers open and save panels with fixed paths, and the open panel's type pop-up with a fixed
// choice (0, the text import, unless set).
class FixedFilePanel : public FilePanel {
public:
    QString openPath, savePath;
    int openType = 0;
    std::optional<QString> runOpenPanel(const FilePanelOptions& options) override {
        if (options.chosenType) *options.chosenType = openType;
        return openPath;
    }
    std::optional<QString> runSavePanel(const FilePanelOptions&) override { return savePath; }
};

void spinUntil(const std::function<bool()>& done) {
    while (!done()) QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
}

void spinFor(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
}

// The files of the operations, made once: the 100 000-record document (password "protected") and
// a text file of 100 000 rows to import, and the same entries as another program's export.
struct StallFiles {
    QTemporaryDir dir;
    QString document = dir.filePath(QStringLiteral("big.qvane"));
    QString emptyDocument = dir.filePath(QStringLiteral("empty.qvane"));
    QString importText = dir.filePath(QStringLiteral("rows.csv"));
    QString foreignText = dir.filePath(QStringLiteral("chrome.csv"));
    QString exported = dir.filePath(QStringLiteral("out.csv"));
    StallFiles() {
        auto doc = bigDocument();
        if (!DocumentFile::writeAtomically(document, doc->dataOfType(QString()).value()).ok()) std::abort();
        MyDocument empty;
        empty.prepareNewDocument();
        empty.plainPassword = QStringLiteral("protected");
        if (!DocumentFile::writeAtomically(emptyDocument, empty.dataOfType(QString()).value()).ok())
            std::abort();
        QFile rows(importText);
        if (!rows.open(QIODevice::WriteOnly)) std::abort();
        QByteArray text;
        // In the order the import sheet maps by default: category, name, URL, account, user ID,
        // password; twenty categories, as in the document.
        for (const Value& r : bench::makeRecords(100000)) {
            const Dictionary d = r.toDictionary();
            text += QStringLiteral("Category %1").arg(d.value(keys::categoryID).toInt64()).toUtf8();
            for (const QString& key : {keys::name, keys::url, keys::account, keys::userID, keys::password})
                text += "\t" + d.value(key).toString().toUtf8();
            text += "\n";
        }
        rows.write(text);
        // A browser's password export: name, url, username, password, note; every field quoted.
        QFile foreign(foreignText);
        if (!foreign.open(QIODevice::WriteOnly)) std::abort();
        QByteArray csv = "name,url,username,password,note\n";
        for (const Value& r : bench::makeRecords(100000)) {
            const Dictionary d = r.toDictionary();
            QByteArray line;
            for (const QString& key : {keys::name, keys::url, keys::userID, keys::password, keys::note}) {
                if (!line.isEmpty()) line += ',';
                line += '"' + d.value(key).toString().toUtf8().replace('"', "\"\"") + '"';
            }
            csv += line + '\n';
        }
        foreign.write(csv);
    }
};

StallFiles& stallFiles() {
    static StallFiles files;
    return files;
}

enum class Operation { Open, Save, Lock, Import, ForeignImport, Export };

// The window, opened and unlocked, as each measured operation but the opening starts from.
app::DocumentWindow* openUnlocked(app::DocumentController& controller, const QString& path) {
    app::DocumentWindow* w = controller.openDocument(path);
    if (!w) std::abort();
    w->resize(1100, 700);
    w->show();
    w->passwordToDecryptField()->setText(QStringLiteral("protected"));
    QCoreApplication::postEvent(w->passwordToDecryptField(), new QKeyEvent(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier));
    spinUntil([w] { return w->document().isDecrypted() && w->recordTable()->isVisible(); });
    return w;
}

void closeWithoutSaving(app::DocumentController& controller, app::DocumentWindow* w) {
    w->document().updateChangeCount(ZKCryptoDoc::kChangeCleared);
    w->close();
    spinUntil([&controller] { return controller.documents().empty(); });
}

// Each iteration runs the operation once, from the event loop as a command would, and keeps
// the loop turning until it is over and a little after (the repaint that follows). stall_ms is
// the mean over the iterations of each one's longest gap, stall_max_ms the longest of all.
void BM_LongestStall(benchmark::State& state, Operation operation) {
    StallFiles& files = stallFiles();
    app::DocumentController controller;
    controller.setAutosavingDelay(0);
    SheetAnswerer answerer;
    FixedFilePanel panel;
    panel.openPath = files.importText;
    panel.savePath = files.exported;
    StallMeter meter;
    double sum = 0, longest = 0;
    // An import goes into an empty document.
    const bool import = operation == Operation::Import || operation == Operation::ForeignImport;
    const QString base = import ? files.emptyDocument : files.document;
    if (operation == Operation::ForeignImport) {
        panel.openPath = files.foreignText;
        panel.openType = int(ForeignImport::formatNames().indexOf(QStringLiteral("chrome-csv"))) + 1;
    }
    app::DocumentWindow* w = operation == Operation::Open ? nullptr : openUnlocked(controller, base);
    if (w) w->setFilePanel(&panel);
    for (auto _ : state) {
        state.PauseTiming();
        bool done = false;
        std::function<void()> run;
        std::function<bool()> over = [&done] { return done; };
        switch (operation) {
        case Operation::Open:
            // Password to table: the window is open on the locked page, the password typed.
            w = controller.openDocument(files.document);
            if (!w) std::abort();
            w->resize(1100, 700);
            w->show();
            w->passwordToDecryptField()->setText(QStringLiteral("protected"));
            spinFor(100);
            run = [w] {
                QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
                QCoreApplication::sendEvent(w->passwordToDecryptField(), &enter);
            };
            over = [w] { return w->document().isDecrypted() && w->recordTable()->isVisible(); };
            break;
        case Operation::Save:
            w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
            run = [&controller, w, &done] {
                controller.saveDocument(w);
                done = true;
            };
            break;
        case Operation::Lock:
            if (w->document().isEncrypted()) {
                w->passwordToDecryptField()->setText(QStringLiteral("protected"));
                QCoreApplication::postEvent(w->passwordToDecryptField(),
                                            new QKeyEvent(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier));
                spinUntil([w] { return w->document().isDecrypted() && w->recordTable()->isVisible(); });
            }
            run = [w] { w->action(QStringLiteral("lockDocument:"))->trigger(); };
            over = [w] { return w->document().isEncrypted(); };
            break;
        case Operation::Import:
        case Operation::ForeignImport:
        case Operation::Export: {
            const QString action = operation == Operation::Export ? QStringLiteral("exportAllToTextFile:")
                                                                   : QStringLiteral("importFromTextFile:");
            run = [w, action, &done] {
                w->action(action)->trigger();
                done = true;
            };
            break;
        }
        }
        spinFor(50);
        state.ResumeTiming();
        meter.start();
        QTimer::singleShot(0, run);
        spinUntil(over);
        spinFor(100);
        const double gap = meter.stop();
        sum += gap;
        longest = std::max(longest, gap);
        state.PauseTiming();
        // The operation did what it is measured for.
        const bool worked = import                           ? w->document().myArray.count() == 100000
                            : operation == Operation::Export ? QFileInfo(files.exported).size() > 1000000
                            : operation == Operation::Lock   ? w->document().isEncrypted()
                                                             : w->document().isDecrypted();
        if (!worked) {
            state.SkipWithError("the operation did not complete");
            break;
        }
        if (operation == Operation::Export) QFile::remove(files.exported);
        if (operation == Operation::Open) {
            closeWithoutSaving(controller, w);
            w = nullptr;
        } else if (import) {
            // Back to the empty document for the next import.
            closeWithoutSaving(controller, w);
            w = openUnlocked(controller, base);
            w->setFilePanel(&panel);
        }
        state.ResumeTiming();
    }
    state.counters["stall_ms"] = sum / double(state.iterations());
    state.counters["stall_max_ms"] = longest;
    if (w) closeWithoutSaving(controller, w);
}
// BM_LongestStall/open (password to table), /save, /lock, /import (100 000 rows of text into an
// empty document), /foreign-import (the same 100 000 entries as a browser's CSV export, into an
// empty document), /export (every record, every field).
const bool stallBenchmarksRegistered = [] {
    const std::pair<const char*, Operation> operations[] = {{"BM_LongestStall/open", Operation::Open},
                                                            {"BM_LongestStall/save", Operation::Save},
                                                            {"BM_LongestStall/lock", Operation::Lock},
                                                            {"BM_LongestStall/import", Operation::Import},
                                                            {"BM_LongestStall/foreign-import", Operation::ForeignImport},
                                                            {"BM_LongestStall/export", Operation::Export}};
    for (const auto& [name, operation] : operations)
        benchmark::RegisterBenchmark(name, BM_LongestStall, operation)->Iterations(3)->Unit(benchmark::kMillisecond);
    return true;
}();

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
