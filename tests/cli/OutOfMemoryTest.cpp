// A command that needs more memory than the system grants ends with a message and its own exit
// status, never an abort, and leaves the document it was to change exactly as it was.

#include "QvaneCommand.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/resource.h>

#if defined(__SANITIZE_ADDRESS__)
#define QV_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QV_ADDRESS_SANITIZER 1
#endif
#endif

namespace {

// qvane given the password on standard input and, when asked, at most `limit` bytes of address
// space; the exit status (-1 for a crash) and what it wrote to standard error.
[[maybe_unused]] std::pair<int, std::string> qvane(const QStringList& args, rlim_t limit = 0) {
    QProcess p;
    if (limit)
        p.setChildProcessModifier([limit] {
            const rlimit l{limit, limit};
            setrlimit(RLIMIT_AS, &l);
        });
    p.start(QStringLiteral(QVANE_PATH), QStringList(args) << QStringLiteral("--password-stdin"));
    p.write("secret123\n");
    p.closeWriteChannel();
    p.waitForFinished(60000);
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardError().toStdString()};
}

}  // namespace

TEST(QvaneOutOfMemory, AnImportBeyondTheMemoryLimitLeavesTheDocumentAsItWas) {
#ifdef QV_ADDRESS_SANITIZER
    GTEST_SKIP() << "the address sanitizer reserves far more address space than any limit would leave";
#else
    QTemporaryDir dir;
    const QString doc = dir.filePath(QStringLiteral("vault.qvane")), csv = dir.filePath(QStringLiteral("rows.csv"));
    ASSERT_EQ(qvane({QStringLiteral("new"), doc}).first, 0);
    QFile f(doc);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray before = f.readAll();
    f.close();
    // About 40 MB of rows: read, decoded and split, they need several times the limit below.
    QByteArray rows = "Name,Url,User ID,Password,Note\n";
    for (int i = 0; i < 400000; ++i)
        rows += QByteArrayLiteral("Site %1,https://site%1.example.com/login,user%1,pw%1xyz,note %1 for the test\n")
                    .replace("%1", QByteArray::number(i));
    QFile out(csv);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly) && out.write(rows) == rows.size());
    out.close();

    constexpr rlim_t kLimit = 256 << 20;
    // The limit leaves the program itself room enough: the document opens under it.
    const auto list = qvane({QStringLiteral("ls"), doc}, kLimit);
    ASSERT_EQ(list.first, 0) << list.second;
    const auto import = qvane({QStringLiteral("import"), doc, csv, QStringLiteral("--map"), QStringLiteral("header")}, kLimit);
    EXPECT_EQ(import.first, qv::cli::kExitNoMemory) << import.second;
    EXPECT_EQ(import.second, "qvane: not enough memory to finish \"import\"; no file was changed\n");
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), before);
    // Nothing half-written beside it either.
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
              QStringList({QStringLiteral("rows.csv"), QStringLiteral("vault.qvane")}));
#endif
}

TEST(QvaneOutOfMemory, AFileLargerThanTheMemoryLimitIsRefusedWithTheSameMessage) {
#ifdef QV_ADDRESS_SANITIZER
    GTEST_SKIP() << "the address sanitizer reserves far more address space than any limit would leave";
#else
    QTemporaryDir dir;
    // A sparse file: as large as a document can be to the reader, and nothing on the disk.
    const QString doc = dir.filePath(QStringLiteral("huge.qvane"));
    QFile f(doc);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.resize(qint64(320) << 20));
    f.close();
    for (const QString& verb : {QStringLiteral("info"), QStringLiteral("dump")}) {
        const auto r = qvane({verb, doc}, rlim_t(256) << 20);
        EXPECT_EQ(r.first, qv::cli::kExitNoMemory) << r.second;
        EXPECT_EQ(r.second, "qvane: not enough memory to finish \"" + verb.toStdString() + "\"; no file was changed\n");
    }
    EXPECT_EQ(QFileInfo(doc).size(), qint64(320) << 20);
#endif
}
