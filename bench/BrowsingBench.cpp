// The record browser on 100 000 records: one keystroke's filter (each iteration types one more
// character, or starts again), and a sort by a text column with each comparison of the preference.

#include "BenchDocument.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "passwordtools/PasswordHealth.h"

#include <benchmark/benchmark.h>

using namespace qv;

namespace {

MyDocument& document() {
    static MyDocument* doc = bench::makeDocument(100000).release();
    return *doc;
}

void BM_FilterKeystroke(benchmark::State& state) {
    DocumentBrowser browser(document());
    const QString typed = QStringLiteral("account 4");
    int i = 0;
    for (auto _ : state) {
        // Each iteration is one more (or, wrapping, one fewer) character typed.
        browser.searchString = typed.left(1 + i++ % typed.size());
        browser.setFilterPredicate();
        benchmark::DoNotOptimize(browser.myArrayController().arrangedObjects().count());
    }
}
BENCHMARK(BM_FilterKeystroke)->Unit(benchmark::kMillisecond);

// The same with the table sorted by name, as the window usually is: every keystroke also sorts
// what it keeps, by keys made from each kept record.
void BM_FilterKeystrokeSorted(benchmark::State& state) {
    DocumentBrowser browser(document());
    browser.tableSortCompare = 2;
    browser.tableViewDidClickTableColumn(QStringLiteral("name"), true);
    const QString typed = QStringLiteral("account 4");
    int i = 0;
    for (auto _ : state) {
        browser.searchString = typed.left(1 + i++ % typed.size());
        browser.setFilterPredicate();
        benchmark::DoNotOptimize(browser.myArrayController().arrangedObjects().count());
    }
}
BENCHMARK(BM_FilterKeystrokeSorted)->Unit(benchmark::kMillisecond);

// The first keystroke after the records changed (or the first of all): the search index is made
// again before it is searched. The window pays this once after an edit, a one-shot search of the
// command line every time.
void BM_FilterFirstKeystroke(benchmark::State& state) {
    DocumentBrowser browser(document());
    for (auto _ : state) {
        browser.recordsChangedInPlace();
        browser.searchString = QStringLiteral("a");
        browser.setFilterPredicate();
        benchmark::DoNotOptimize(browser.myArrayController().arrangedObjects().count());
        state.PauseTiming();
        browser.searchString.clear();  // the empty search needs no index
        browser.setFilterPredicate();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_FilterFirstKeystroke)->Unit(benchmark::kMillisecond);

void BM_SortByName(benchmark::State& state) {
    DocumentBrowser browser(document());
    browser.tableSortCompare = state.range(0);
    bool ascending = true;
    for (auto _ : state) {
        browser.orderByColumnWithidentifier(QStringLiteral("name"), ascending);
        ascending = !ascending;
    }
}
// 0: plain comparison, 1: localized, 2: localized ignoring case (the preference's three).
BENCHMARK(BM_SortByName)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// The password health report of 100 000 records: every password estimated (on two threads), then
// the four lists. Taking the passwords out of the records is part of it, as in the window.
void BM_PasswordHealth(benchmark::State& state) {
    const MyDocument& doc = document();
    for (auto _ : state) {
        const HealthReport report =
            PasswordHealth::examine(PasswordHealth::entriesOf(doc.myArray), nowSince2001(), 365);
        benchmark::DoNotOptimize(report.weak.size());
    }
}
BENCHMARK(BM_PasswordHealth)->Unit(benchmark::kMillisecond);

// What the report cannot go below: the strength estimate alone, on one thread, for the first
// 1 000 passwords of the same records (16 to 32 lower-case letters). Times 100 on two cores is
// the least the report of 100 000 records can take.
void BM_PasswordStrengthEstimate(benchmark::State& state) {
    std::vector<QString> passwords;
    for (qsizetype i = 0; i < 1000; ++i)
        passwords.push_back(document().myArray.at(i).toDictionary().value(keys::password).toString());
    for (auto _ : state)
        for (const QString& p : passwords) benchmark::DoNotOptimize(PasswordHealth::estimatedBits(p));
}
BENCHMARK(BM_PasswordStrengthEstimate)->Unit(benchmark::kMillisecond);

}  // namespace

QV_BENCHMARK_MAIN()
