// Encoding and decoding a keyed archive the size of a large document's record member:
// 100 000 dictionaries of 12 string keys with realistic values.

#include "foundation/KeyedArchive.h"

#include <benchmark/benchmark.h>

#include <random>

using namespace qv;

namespace {

Value makeRecords(int count) {
    // Keys are shared strings, as in a document read from a file or built from the key constants.
    static const QString keys[] = {QStringLiteral("name"),     QStringLiteral("account"),      QStringLiteral("url"),
                                   QStringLiteral("userID"),   QStringLiteral("password"),     QStringLiteral("pin"),
                                   QStringLiteral("security"), QStringLiteral("email"),        QStringLiteral("note"),
                                   QStringLiteral("creationDate"), QStringLiteral("modificationDate"),
                                   QStringLiteral("categoryID")};
    std::mt19937 rng(7);
    auto text = [&](int minLen, int maxLen) {
        const int n = minLen + int(rng() % unsigned(maxLen - minLen + 1));
        QString s(n, Qt::Uninitialized);
        for (int i = 0; i < n; ++i) s[i] = QChar(char16_t('a' + rng() % 26));
        return s;
    };
    Array records;
    records.reserve(count);
    for (int i = 0; i < count; ++i) {
        Dictionary r;
        r.set(keys[0], Value(QStringLiteral("Account %1 ").arg(i) + text(4, 12)));
        r.set(keys[1], Value(text(6, 14)));
        r.set(keys[2], Value(QStringLiteral("https://www.") + text(5, 12) + QStringLiteral(".com/login")));
        r.set(keys[3], Value(text(5, 12) + QStringLiteral("@example.com")));
        r.set(keys[4], Value(text(16, 32)));
        r.set(keys[5], Value(QString::number(rng() % 10000)));
        r.set(keys[6], Value(text(0, 10)));
        r.set(keys[7], Value(text(5, 10) + QStringLiteral("@mail.example")));
        r.set(keys[8], Value(text(0, 120)));
        r.set(keys[9], Value(QStringLiteral("2024-05-%1").arg(1 + i % 28)));
        r.set(keys[10], Value(QStringLiteral("2025-02-%1").arg(1 + i % 28)));
        r.set(keys[11], Value(QString::number(1 + i % 20)));
        records.append(Value(r));
    }
    return Value(records);
}

const Value& records100k() {
    static const Value v = makeRecords(100000);
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

BENCHMARK_MAIN();
