#pragma once

// Records with realistic field lengths for the benchmarks: names, URLs, user IDs, passwords of
// 16 to 32 characters, notes of up to 120 characters, twenty categories by id.

#include "foundation/Value.h"

#include <random>

#include <sys/resource.h>

namespace qv::bench {

inline Array makeRecords(int count) {
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
        r.set(keys[9], Value::date(700000000.0 + i * 37.5));
        r.set(keys[10], Value::date(760000000.0 + i * 11.25));
        r.set(keys[11], Value::integer(1 + i % 20));
        records.append(Value(r));
    }
    return records;
}

// The process's peak resident size so far, in MiB.
inline double maxRssMB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_maxrss) / 1024.0;
}

}  // namespace qv::bench

// The benchmarks run with the heap tuned as the window tunes it (see MemoryTuning.h).
#include "foundation/MemoryTuning.h"

#include <benchmark/benchmark.h>
namespace qv::bench {
inline int runBenchmarks(int argc, char** argv) {
    qv::tuneMemoryForLargeWork(qv::LargeBlocks::Reused);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
}  // namespace qv::bench
#define QV_BENCHMARK_MAIN() \
    int main(int argc, char** argv) { return qv::bench::runBenchmarks(argc, argv); }
