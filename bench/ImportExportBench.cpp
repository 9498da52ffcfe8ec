// Import of a 100 000-row CSV (automatic dialect and encoding, mapped by header) and export of
// 100 000 records in each of the six formats. maxRSS_MB is the process's peak so far.
//
// BM_TextImportMemory/<shape>: the peak memory of one text import (read, split, map in order,
// make the records, give them categories), measured in a child process of its own: peakMB above
// the process's size before, docMB the heap the document and its browser hold at the end, and overPerFile
// (peak - document) / file size, to be at most 5; madeOverPerFile the same taken once the records
// are made, before the browser files them into categories and arranges them.

#include "BenchData.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "importexport/ZKDataExportManager.h"
#include "importexport/ZKDataImportManager.h"

#include <QFile>
#include <QStringEncoder>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdio>
#include <cstring>


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

// The text files the memory figures are taken on, made once per run.
const char* const kShapes[] = {"csv-50MB", "rows-1M-4MB", "tab-utf16-20MB", "long-notes-40MB", "wide-30cols-50MB"};

QByteArray shapeBytes(int shape) {
    std::mt19937 rng(11);
    auto word = [&](int minLen, int maxLen) {
        const int n = minLen + int(rng() % unsigned(maxLen - minLen + 1));
        QByteArray w(n, Qt::Uninitialized);
        for (int i = 0; i < n; ++i) w[i] = char('a' + rng() % 26);
        return w;
    };
    QByteArray out;
    switch (shape) {
    case 0:  // a quoted CSV with a header, twelve columns, about 200 bytes a row
        out += "Category,Name,Url,Account,User ID,Password,Pin,Security,Email,Note,Created,Changed\n";
        while (out.size() < 50 * 1000 * 1000)
            out += "\"Work\",\"" + word(6, 16) + "\",\"https://www." + word(5, 12) + ".com/\",\"" + word(6, 14) + "\",\"" +
                   word(5, 12) + "@example.com\",\"" + word(16, 32) + "\",\"" + QByteArray::number(int(rng() % 10000)) +
                   "\",\"" + word(0, 10) + "\",\"" + word(5, 10) + "@mail.example\",\"" + word(0, 60) + "\",1,2\n";
        break;
    case 1:  // a million rows of two one-letter fields
        out.reserve(4000000);
        for (int i = 0; i < 1000000; ++i) out += "a,b\n";
        break;
    case 2: {  // tab separated, UTF-16 little-endian with its mark, CR LF line ends, twenty categories
        QString text;
        while (text.size() < 10 * 1000 * 1000)
            text += QString::fromLatin1("Group " + QByteArray::number(int(rng() % 20)) + '\t' + word(10, 20) + '\t' + word(5, 12) + '\t' + word(16, 32) +
                                        '\t' + word(0, 80) + "\r\n");
        QStringEncoder enc(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
        out = enc.encode(text);
        break;
    }
    case 3:  // few rows, each with a note of 400 000 characters
        while (out.size() < 40 * 1000 * 1000) out += word(6, 12) + "\t" + word(400000, 400000) + "\n";
        break;
    default:  // thirty short fields a row, of which the mapping in order takes ten
        while (out.size() < 50 * 1000 * 1000) {
            out += "Work";
            for (int i = 1; i < 30; ++i) out += ',' + word(1, 3);
            out += '\n';
        }
        break;
    }
    return out;
}

const QString& shapeFile(int shape) {
    static QTemporaryDir dir;
    static QString paths[std::size(kShapes)];
    if (paths[shape].isEmpty()) {
        const QString p = dir.filePath(QStringLiteral("shape%1.txt").arg(shape));
        QFile f(p);
        if (f.open(QIODevice::WriteOnly)) f.write(shapeBytes(shape));
        paths[shape] = p;
    }
    return paths[shape];
}

// Heap in use, the blocks mapped apart included.
double inUseMB(const struct mallinfo2& m) { return double(m.uordblks + m.hblkhd) / (1024.0 * 1024.0); }

// The measuring run, in a process of its own: prints the peak, the document's heap and the
// count of records. The document is measured as the window holds it, with its browser (the
// records' arrangement, the categories' lists) still there.
int measure(const QString& path) {
    const double before = bench::maxRssMB();
    const struct mallinfo2 heapBefore = mallinfo2();
    auto* doc = new MyDocument;  // both kept: they are what the figures are compared with
    doc->prepareNewDocument();
    auto* browser = new DocumentBrowser(*doc);
    {
        MyDataImportManager m(doc->myArray, doc->myKeyArrayForImport);
        m.loadDataFromFile(path, 0, 0);
        m.ImportSettings();
        m.AssignCascadeImportFields();
        m.DoImport();
        // The records made, before the browser files them into categories and arranges them.
        std::printf("%f %f ", bench::maxRssMB() - before, inUseMB(mallinfo2()) - inUseMB(heapBefore));
        browser->justFinishedImporting();
    }
    std::printf("%f %f %lld\n", bench::maxRssMB() - before, inUseMB(mallinfo2()) - inUseMB(heapBefore),
                static_cast<long long>(doc->myArray.count()));
    return 0;
}

void BM_TextImportMemory(benchmark::State& state) {
    const int shape = int(state.range(0));
    state.SetLabel(kShapes[shape]);
    const QString path = shapeFile(shape);
    const double fileMB = double(QFile(path).size()) / (1024.0 * 1024.0);
    const QByteArray self = QFile::encodeName(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
    const QByteArray command = self + " --measure " + QFile::encodeName(path);
    double madePeakMB = 0, madeMB = 0, peakMB = 0, docMB = 0;
    long long records = 0;
    for (auto _ : state) {
        if (std::FILE* p = popen(command.constData(), "r")) {
            if (std::fscanf(p, "%lf %lf %lf %lf %lld", &madePeakMB, &madeMB, &peakMB, &docMB, &records) != 5)
                state.SkipWithError("no figures");
            pclose(p);
        }
    }
    state.counters["fileMB"] = fileMB;
    state.counters["peakMB"] = peakMB;
    state.counters["docMB"] = docMB;
    state.counters["records"] = double(records);
    state.counters["overPerFile"] = (peakMB - docMB) / fileMB;
    // The same up to the records made, before the browser's filing and arranging.
    state.counters["madeOverPerFile"] = (madePeakMB - madeMB) / fileMB;
}
BENCHMARK(BM_TextImportMemory)->DenseRange(0, int(std::size(kShapes)) - 1)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--measure") == 0) {
        qv::tuneMemoryForLargeWork(qv::LargeBlocks::GivenBack);  // as the command line runs
        return measure(QFile::decodeName(argv[2]));
    }
    return qv::bench::runBenchmarks(argc, argv);
}
