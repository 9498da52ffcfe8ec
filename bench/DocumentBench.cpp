// Saving and opening whole documents of 1 000, 10 000 and 100 000 records. Each save and open
// includes one key derivation (the engine keeps the key for all the members); BM_KeyDerivation
// measures one. maxRSS_MB is the process's peak so far: sizes run in ascending order.
//
// BM_OpenPeakMemory/<records>: the peak memory of opening a document (reading the file,
// deciphering, decoding), in a child process of its own as the command line runs: peakMB is that
// process's whole peak, baseMB its size before the file was read.

#include "BenchDocument.h"

#include "crypto/ZKCommonCrypto.h"
#include "document/DocumentKeys.h"
#include "document/DocumentMerge.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <memory>
#include <benchmark/benchmark.h>

#include <malloc.h>

using namespace qv;

namespace {

std::unique_ptr<MyDocument> makeDocument(int records) {
    auto doc = bench::makeDocument(records);
    doc->plainPassword = QStringLiteral("correct horse");
    return doc;
}

void BM_KeyDerivation(benchmark::State& state) {
    const QByteArray salt("12345678");
    for (auto _ : state) benchmark::DoNotOptimize(ZKCommonCrypto::AESKeyForPassword(QStringLiteral("correct horse"), salt));
}
BENCHMARK(BM_KeyDerivation)->Unit(benchmark::kMillisecond);

void BM_SaveDocument(benchmark::State& state) {
    auto doc = makeDocument(int(state.range(0)));
    doc->dataOfType(QString());  // the engine exists, as after a first save
    qint64 size = 0;
    for (auto _ : state) {
        auto bytes = doc->dataOfType(QString());
        size = bytes->size();
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["fileMB"] = double(size) / 1e6;
    state.counters["maxRSS_MB"] = bench::maxRssMB();
}
BENCHMARK(BM_SaveDocument)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_OpenDocument(benchmark::State& state) {
    const QByteArray file = *makeDocument(int(state.range(0)))->dataOfType(QString());
    for (auto _ : state) {
        auto doc = std::make_unique<MyDocument>();
        if (!doc->read(file)) state.SkipWithError("read failed");
        doc->plainPassword = QStringLiteral("correct horse");
        if (doc->Decript() != 0 || doc->myArray.count() != state.range(0)) state.SkipWithError("open failed");
        benchmark::DoNotOptimize(doc->myArray);
        // Closing is measured on its own, below.
        state.PauseTiming();
        doc.reset();
        state.ResumeTiming();
    }
    state.counters["maxRSS_MB"] = bench::maxRssMB();
}
BENCHMARK(BM_OpenDocument)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Letting go of an open document: every record and string is freed.
void BM_CloseDocument(benchmark::State& state) {
    const QByteArray file = *makeDocument(int(state.range(0)))->dataOfType(QString());
    for (auto _ : state) {
        state.PauseTiming();
        auto doc = std::make_unique<MyDocument>();
        if (!doc->read(file)) state.SkipWithError("read failed");
        doc->plainPassword = QStringLiteral("correct horse");
        if (doc->Decript() != 0) state.SkipWithError("open failed");
        state.ResumeTiming();
        doc.reset();
    }
}
BENCHMARK(BM_CloseDocument)->Arg(100000)->Unit(benchmark::kMillisecond);

// Deciphering the records member of a saved document, the key already derived: into a new
// buffer (0) and where it lies (1), as opening does.
void BM_DecryptRecordsMember(benchmark::State& state) {
    auto doc = makeDocument(100000);
    doc->dataOfType(QString());
    const QByteArray sealed = doc->myEncryptedArrayData.toData();
    ZKCommonCrypto engine;
    engine.setPasswordToDecrypt(doc->plainPassword, doc->myIV.toData(), doc->mySalt.toData());
    if (!engine.decrypt(sealed)) state.SkipWithError("decrypt failed");  // derives the key
    for (auto _ : state) {
        state.PauseTiming();
        QByteArray bytes = sealed;
        bytes.detach();
        state.ResumeTiming();
        auto plain = state.range(0) ? engine.decryptInPlace(bytes) : engine.decrypt(bytes);
        if (!plain) state.SkipWithError("decrypt failed");
        benchmark::DoNotOptimize(plain);
    }
    state.SetBytesProcessed(state.iterations() * sealed.size());
    state.counters["memberMB"] = double(sealed.size()) / 1e6;
}
BENCHMARK(BM_DecryptRecordsMember)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Linking every record to its category after decryption, on its own.
void BM_RelinkRecords(benchmark::State& state) {
    auto doc = makeDocument(int(state.range(0)));
    const Array records = doc->getCopyOfContentArrayForSaveOperation();
    const Array categories = doc->getCopyOfCategoryArrayForSaveOperation();
    for (auto _ : state) doc->restoreFromSaveOperationContent(records, categories);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RelinkRecords)->Arg(100000)->Unit(benchmark::kMillisecond);

// What an open document keeps: heap in use after opening, less before, per 1 000 records.
double heapInUseMB() {
    const struct mallinfo2 m = mallinfo2();
    return double(m.uordblks + m.hblkhd) / 1e6;
}

void BM_MemoryPer1000Records(benchmark::State& state) {
    const QByteArray file = *makeDocument(int(state.range(0)))->dataOfType(QString());
    double perThousand = 0;
    for (auto _ : state) {
        const double before = heapInUseMB();
        MyDocument doc;
        if (!doc.read(file)) state.SkipWithError("read failed");
        doc.plainPassword = QStringLiteral("correct horse");
        if (doc.Decript() != 0) state.SkipWithError("open failed");
        perThousand = (heapInUseMB() - before) / (double(state.range(0)) / 1000.0);
    }
    state.counters["MB_per_1000"] = perThousand;
}
BENCHMARK(BM_MemoryPer1000Records)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Two versions of a 100 000-record document, as a sync conflict leaves them: B has every tenth
// record edited later, every hundredth edited at the same moment, and 1 000 records of its own.
// Each iteration merges B into a fresh copy of A; key derivations are not part of it.
void BM_MergeDocuments(benchmark::State& state) {
    const int n = int(state.range(0));
    const auto a = makeDocument(n);
    const auto b = makeDocument(n + n / 100);
    for (qsizetype i = 0; i < n; ++i) {
        Dictionary r = b->myArray.at(i).toDictionary();
        if (i % 10 == 0) {
            r.set(keys::password, Value(QStringLiteral("changed %1").arg(i)));
            r.set(keys::modificationDate, Value::date(r.value(keys::modificationDate).toDate() + 60));
        } else if (i % 100 == 5) {
            r.set(keys::note, Value(QStringLiteral("edited on both")));
        }
    }
    for (qsizetype i = n; i < b->myArray.count(); ++i)
        b->myArray.at(i).toDictionary().set(keys::creationDate, Value::date(900000000.0 + double(i)));
    for (auto _ : state) {
        state.PauseTiming();
        Array records = a->myArray.deepCopy(), categories = a->myCategoryArray, emails = a->emailArray;
        state.ResumeTiming();
        const MergeReport report = DocumentMerge::merge(records, categories, emails, b->myArray, b->emailArray);
        benchmark::DoNotOptimize(report.added.size());
        state.counters["updated"] = double(report.updatedFromB.size());
        state.counters["conflicts"] = double(report.conflicts.size());
        state.counters["added"] = double(report.added.size());
    }
}
BENCHMARK(BM_MergeDocuments)->Arg(100000)->Unit(benchmark::kMillisecond);

// The measuring run: prints the process's size before the file is read and its peak once the
// document is open.
int measureOpen(const QString& path, qsizetype expected) {
    const double base = bench::maxRssMB();
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return 1;
    auto doc = std::make_unique<MyDocument>();
    {
        const QByteArray file = f.readAll();
        if (!doc->read(file)) return 1;
    }
    doc->plainPassword = QStringLiteral("correct horse");
    if (doc->Decript() != 0 || doc->myArray.count() != expected) return 1;
    std::printf("%f %f\n", base, bench::maxRssMB());
    return 0;
}

void BM_OpenPeakMemory(benchmark::State& state) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("open.qvane"));
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly)) state.SkipWithError("cannot write the document");
        f.write(*makeDocument(int(state.range(0)))->dataOfType(QString()));
    }
    const QByteArray self = QFile::encodeName(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
    const QByteArray command = self + " --measure-open " + QFile::encodeName(path) + ' ' + QByteArray::number(state.range(0));
    double base = 0, peak = 0;
    for (auto _ : state) {
        if (std::FILE* p = popen(command.constData(), "r")) {
            if (std::fscanf(p, "%lf %lf", &base, &peak) != 2) state.SkipWithError("the open failed");
            pclose(p);
        }
    }
    state.counters["fileMB"] = double(QFile(path).size()) / (1024.0 * 1024.0);
    state.counters["baseMB"] = base;
    state.counters["peakMB"] = peak;
}
BENCHMARK(BM_OpenPeakMemory)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--measure-open") == 0) {
        qv::tuneMemoryForLargeWork(qv::LargeBlocks::GivenBack);  // as the command line runs
        return measureOpen(QFile::decodeName(argv[2]), QString::fromLatin1(argv[3]).toLongLong());
    }
    return qv::bench::runBenchmarks(argc, argv);
}
