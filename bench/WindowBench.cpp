// The document window on 100 000 records (offscreen): showing the records once they are
// decrypted, and one scroll step with its repaint.

#include "BenchData.h"

#include "DocumentWindow.h"

#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QApplication>
#include <QScrollBar>
#include <QTableView>

#include <benchmark/benchmark.h>

#include <cstdlib>

using namespace qv;

namespace {

std::unique_ptr<MyDocument> bigDocument() {
    auto d = std::make_unique<MyDocument>();
    d->prepareNewDocument();
    d->plainPassword = QStringLiteral("protected");  // no mandatory password sheet
    d->myCategoryArray = Array();
    for (int c = 1; c <= 20; ++c)
        d->myCategoryArray.append(Value(RecordModel::newCategory(QStringLiteral("Category %1").arg(c), c)));
    for (const Value& r : bench::makeRecords(100000)) {
        Dictionary rec = r.toDictionary();
        rec.set(keys::categoryPtr, d->myCategoryArray.at(rec.value(keys::categoryID).toInt64() - 1));
        d->myArray.append(r);
    }
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

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
