// Encoding and decoding a keyed archive the size of a large document's record member:
// 100 000 dictionaries of 12 string keys with realistic values.

#include "BenchData.h"

#include "foundation/KeyedArchive.h"

#include <benchmark/benchmark.h>


using namespace qv;

namespace {

const Value& records100k() {
    static const Value v = Value(bench::makeRecords(100000));
    return v;
}

void BM_ArchiveEncode(benchmark::State& state) {
    const Value& v = records100k();
    qint64 bytes = 0;
    for (auto _ : state) {
        auto data = KeyedArchiver::archivedDataWithRootObject(v);
        bytes = data->size();
        benchmark::DoNotOptimize(data);
    }
    state.counters["archiveMB"] = double(bytes) / 1e6;
    state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_ArchiveEncode)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_ArchiveDecode(benchmark::State& state) {
    const QByteArray data = *KeyedArchiver::archivedDataWithRootObject(records100k());
    for (auto _ : state) {
        auto v = KeyedUnarchiver::unarchiveObjectWithData(data);
        if (!v || v->toArray().count() != 100000) state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_ArchiveDecode)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

QV_BENCHMARK_MAIN()
