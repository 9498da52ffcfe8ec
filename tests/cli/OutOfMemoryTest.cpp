// A command that needs more memory than the system grants ends with a message and its own exit
// status, never an abort, and leaves the document it was to change exactly as it was.

#include "QvaneCommand.h"

#include <QDir>
#include <QFile>
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

struct Outcome {
    int status;
    QByteArray err;
};

// qvane with `password` on standard input and, when `limitBytes` is set, that much address space.
Outcome qvane(const QStringList& args, qint64 limitBytes = 0) {
    QProcess p;
    if (limitBytes > 0)
        p.setChildProcessModifier([limitBytes] {
            const rlimit limit{rlim_t(limitBytes), rlim_t(limitBytes)};
            setrlimit(RLIMIT_AS, &limit);
        });
    p.start(QStringLiteral(QVANE_PATH), args);
    p.write("secret123\n");
    p.closeWriteChannel();
    p.waitForFinished(60000);
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardError()};
}

}  // namespace

TEST(QvaneOutOfMemory, AnImportBeyondTheMemoryLimitLeavesTheDocumentAsItWas) {
#ifdef QV_ADDRESS_SANITIZER
    GTEST_SKIP() << "the address sanitizer reserves far more address space than any limit would leave";
#else
    QTemporaryDir dir;
    const QString doc = dir.filePath(QStringLiteral("vault.qvane"));
    ASSERT_EQ(qvane({QStringLiteral("new"), doc, QStringLiteral("--password-stdin")}).status, 0);
    QFile f(doc);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray before = f.readAll();
    f.close();

    // About 42 MB of rows: read, decoded and split, they need several times the limit below.
    const QString csv = dir.filePath(QStringLiteral("rows.csv"));
    {
        QFile out(csv);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        QByteArray rows = "Name,Url,User ID,Password,Note\n";
        for (int i = 0; i < 400000; ++i)
            rows += "Site " + QByteArray::number(i) + ",https://site" + QByteArray::number(i) + ".example.com/login,user" +
                    QByteArray::number(i) + ",pw" + QByteArray::number(i) + "xyz,note number " + QByteArray::number(i) +
                    " for the test\n";
        ASSERT_EQ(out.write(rows), rows.size());
    }
    constexpr qint64 kLimit = 256 << 20;
    // The limit leaves the program itself room enough: the same document opens under it.
    const Outcome list = qvane({QStringLiteral("ls"), doc, QStringLiteral("--password-stdin")}, kLimit);
    ASSERT_EQ(list.status, 0) << list.err.toStdString();

    const Outcome import = qvane({QStringLiteral("import"), doc, csv, QStringLiteral("--map"), QStringLiteral("header"),
                                  QStringLiteral("--password-stdin")},
                                 kLimit);
    EXPECT_EQ(import.status, qv::cli::kExitNoMemory) << import.err.toStdString();
    EXPECT_EQ(import.err.toStdString(), "qvane: not enough memory to finish \"import\"; no file was changed\n");
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), before);
    // Nothing half-written beside it either.
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
              QStringList({QStringLiteral("rows.csv"), QStringLiteral("vault.qvane")}));
#endif
}
