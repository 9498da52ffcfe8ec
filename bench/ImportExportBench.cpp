// Import of a 100 000-row CSV (automatic dialect and encoding, mapped by header) and export of
// 100 000 records in each of the six formats. maxRSS_MB is the process's peak so far.

#include "BenchData.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "importexport/ZKDataExportManager.h"
#include "importexport/ZKDataImportManager.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>


using namespace qv;

namespace {

Array& records() {
    static Array* r = [] {
        auto* a = new Array(bench::makeRecords(100000));
        Dictionary cat = RecordModel::newCategory(QStringLiteral("Work"), 1);
        for (const Value& v : *a) v.toDictionary().set(keys::categoryPtr, Value(cat));
        return a;
    }();
    return *r;
}

const QString& csvFile() {
    static QTemporaryDir dir;
    static const QString path = [] {
        const QString p = dir.filePath(QStringLiteral("big.csv"));
        ZKDataExportManager e(records(), RecordModel::keyArray());
        e.addAllToRight();
        e.fileFormatToSave = 2;
        e.useFieldNamesAsFirstRow = true;
        (void)e.writeToFile(p);
        return p;
    }();
    return path;
}

void BM_Import100kCsv(benchmark::State& state) {
    const QString path = csvFile();
    const double fileMB = double(QFile(path).size()) / 1e6;
    for (auto _ : state) {
        MyDocument doc;
        doc.prepareNewDocument();
        DocumentBrowser browser(doc);
        MyDataImportManager m(doc.myArray, doc.myKeyArrayForImport);
        m.loadDataFromFile(path, 0, 0);
        m.tryAssignFromFirstRow();
        m.DoImport();
        browser.justFinishedImporting();
        if (doc.myArray.count() != 100000) state.SkipWithError("wrong row count");
    }
    state.counters["fileMB"] = fileMB;
    state.counters["maxRSS_MB"] = bench::maxRssMB();
}
BENCHMARK(BM_Import100kCsv)->Unit(benchmark::kMillisecond);

void BM_Export100k(benchmark::State& state) {
    ZKDataExportManager e(records(), RecordModel::keyArray());
    e.addAllToRight();
    e.fileFormatToSave = int(state.range(0));
    e.useFieldNamesAsFirstRow = true;
    e.setCustomFields(4);
    for (auto _ : state) benchmark::DoNotOptimize(e.exportText().toUtf8());
}
BENCHMARK(BM_Export100k)->DenseRange(0, 5)->Unit(benchmark::kMillisecond);

}  // namespace

QV_BENCHMARK_MAIN()
