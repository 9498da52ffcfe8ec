// What a careful user or a distribution expects of qvane: passwords nobody can make again, files
// only their owner reads, and failures that say what went wrong without touching the old file.

#include "DocumentVerbs.h"
#include "QvaneCommand.h"

#include "fuzz/FuzzDocuments.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Result {
    int status = -1;  // -1 for a crash
    QString out, err;
};

// qvane with the password on standard input, the umask 022 of most systems and, when asked, a
// largest file size standing for a disk that is full after that many bytes.
Result qvane(const QStringList& args, const QByteArray& input = "secret123\n", rlim_t fileLimit = 0) {
    QProcess p;
    p.setChildProcessModifier([fileLimit] {
        ::umask(022);
        if (fileLimit) {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit l{fileLimit, fileLimit};
            setrlimit(RLIMIT_FSIZE, &l);
        }
    });
    p.start(QStringLiteral(QVANE_PATH), args);
    p.write(input);
    p.closeWriteChannel();
    p.waitForFinished(60000);
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
}

int modeOf(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 0777) : -1;
}

QByteArray contents(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString makeDocument(const QTemporaryDir& dir, const QString& name = QStringLiteral("vault.qvane")) {
    const QString path = dir.filePath(name);
    const Result r = qvane({QStringLiteral("new"), path, QStringLiteral("--password-stdin")});
    EXPECT_EQ(r.status, 0) << r.err.toStdString();
    return path;
}

}  // namespace

TEST(SecureGenerator, TwoProcessesStartedInTheSameSecondMakeDifferentPasswords) {
    // Seeded from the clock in seconds, both would print the same list. The pair is tried again
    // should it straddle a second, so that the seconds are surely the same.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const std::time_t before = std::time(nullptr);
        const QStringList args{QStringLiteral("generate"), QStringLiteral("--length"), QStringLiteral("20"),
                               QStringLiteral("--count"), QStringLiteral("5")};
        QProcess a, b;
        a.start(QStringLiteral(QVANE_PATH), args);
        b.start(QStringLiteral(QVANE_PATH), args);
        ASSERT_TRUE(a.waitForFinished(30000) && b.waitForFinished(30000));
        if (std::time(nullptr) != before) continue;
        const QByteArray first = a.readAllStandardOutput(), second = b.readAllStandardOutput();
        ASSERT_EQ(first.count('\n'), 5);
        EXPECT_NE(first, second);
        return;
    }
    GTEST_SKIP() << "the machine is too busy to start two processes within one second";
}

TEST(PrivateFiles, NewDocumentsAndExportsAreTheOwnersAloneAndExistingFilesKeepTheirMode) {
    QTemporaryDir dir;
    const QString doc = makeDocument(dir);
    EXPECT_EQ(modeOf(doc), 0600);

    const QString converted = dir.filePath(QStringLiteral("converted.qvane"));
    EXPECT_EQ(qvane({QStringLiteral("convert"), doc, converted, QStringLiteral("--password-stdin")}).status, 0);
    EXPECT_EQ(modeOf(converted), 0600);

    const QString exported = dir.filePath(QStringLiteral("all.csv"));
    const QStringList exportArgs{QStringLiteral("export"), doc, QStringLiteral("--format"), QStringLiteral("2"),
                                 QStringLiteral("-o"), exported, QStringLiteral("--password-stdin")};
    EXPECT_EQ(qvane(exportArgs).status, 0);
    EXPECT_EQ(modeOf(exported), 0600);

    // A file the user made readable by the group stays so, through a symbolic link too, and the
    // link stays a link.
    ASSERT_EQ(::chmod(QFile::encodeName(exported).constData(), 0640), 0);
    const QString link = dir.filePath(QStringLiteral("link.csv"));
    ASSERT_TRUE(QFile::link(exported, link));
    const QStringList throughLink{QStringLiteral("export"), doc, QStringLiteral("--format"), QStringLiteral("1"),
                                  QStringLiteral("-o"), link, QStringLiteral("--password-stdin")};
    EXPECT_EQ(qvane(throughLink).status, 0);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(modeOf(exported), 0640);
    EXPECT_EQ(qvane({QStringLiteral("convert"), doc, link, QStringLiteral("--password-stdin")}).status, 0);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(contents(exported).left(8), QByteArray("bplist00"));
}

TEST(HonestFailures, AWriteThatFailsExitsWithSevenAndTheSystemsReasonAndKeepsTheOldFile) {
    QTemporaryDir dir;
    const QString doc = makeDocument(dir);
    const QString target = makeDocument(dir, QStringLiteral("target.qvane"));
    const QByteArray before = contents(target);
    ASSERT_GT(before.size(), 1024);

    // A disk that fills up after a kilobyte: before, a cut file was renamed into place and qvane
    // said nothing.
    Result r = qvane({QStringLiteral("convert"), doc, target, QStringLiteral("--password-stdin")}, "secret123\n", 1024);
    EXPECT_EQ(r.status, 7) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains(QStringLiteral("File too large"))) << r.err.toStdString();
    EXPECT_EQ(contents(target), before);
    const QString csv = dir.filePath(QStringLiteral("out.csv"));
    r = qvane({QStringLiteral("export"), doc, QStringLiteral("--format"), QStringLiteral("0"), QStringLiteral("--tags"),
               QStringLiteral("start_of_file=") + QString(4000, QLatin1Char('x')), QStringLiteral("-o"), csv,
               QStringLiteral("--password-stdin")},
              "secret123\n", 1024);
    EXPECT_EQ(r.status, 7) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains(QStringLiteral("File too large"))) << r.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(csv));

    // A place that isn't there.
    r = qvane({QStringLiteral("convert"), doc, dir.filePath(QStringLiteral("gone/x.qvane")), QStringLiteral("--password-stdin")});
    EXPECT_EQ(r.status, 7);
    EXPECT_TRUE(r.err.contains(QStringLiteral("No such file or directory"))) << r.err.toStdString();
    // The same for an export for another password manager.
    r = qvane({QStringLiteral("export"), doc, QStringLiteral("--format"), QStringLiteral("keepass-csv"), QStringLiteral("-o"),
               dir.filePath(QStringLiteral("gone/x.csv")), QStringLiteral("--password-stdin")});
    EXPECT_EQ(r.status, 7) << r.err.toStdString();

    // Only the program's own files are left in the folder.
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), 2);
}

TEST(HonestFailures, BytesThatDoNotOpenWithThePasswordNeverReplaceTheFile) {
    QTemporaryDir dir;
    const QString target = makeDocument(dir);
    const QByteArray good = contents(target);
    std::FILE* err = std::tmpfile();
    const qv::cli::Streams io{stdout, err};
    QByteArray damaged = good;
    damaged[damaged.size() / 2] = char(damaged[damaged.size() / 2] ^ 0x40);
    EXPECT_EQ(qv::cli::writeDocumentFile(target, damaged, QStringLiteral("secret123"), io), qv::cli::kExitCannotWrite);
    EXPECT_EQ(qv::cli::writeDocumentFile(target, good, QStringLiteral("another1"), io), qv::cli::kExitCannotWrite);
    EXPECT_EQ(contents(target), good);
    EXPECT_EQ(qv::cli::writeDocumentFile(target, good, QStringLiteral("secret123"), io), qv::cli::kExitOk);
    std::fclose(err);
}

TEST(HonestFailures, AnOldFileWithoutItsCipherSaysSoRatherThanBlameThePassword) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("old.qvane"));
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(qv::fuzzdoc::sealTemplate(qv::fuzzdoc::oldTemplate(2400)).value());
    }
    auto dump = [&](const QString& modules) {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        if (!modules.isEmpty()) env.insert(QStringLiteral("OPENSSL_MODULES"), modules);
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(QVANE_PATH), {QStringLiteral("dump"), path, QStringLiteral("--password-stdin")});
        p.write(qv::fuzzdoc::kPassword.toUtf8() + '\n');
        p.closeWriteChannel();
        p.waitForFinished(60000);
        return Result{p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString(),
                      QString::fromUtf8(p.readAllStandardError())};
    };
    // OpenSSL looks for its old ciphers' module in a folder that holds none.
    const Result missing = dump(dir.filePath(QStringLiteral("no-modules")));
    EXPECT_EQ(missing.status, qv::cli::kExitUnreadable) << missing.err.toStdString();
    EXPECT_TRUE(missing.err.startsWith(QStringLiteral("qvane: "))) << missing.err.toStdString();
    EXPECT_FALSE(missing.err.contains(QStringLiteral("Wrong Password")));
    const Result opened = dump(QString());
    EXPECT_EQ(opened.status, 0) << opened.err.toStdString();
    EXPECT_EQ(contents(path).left(8), QByteArray("bplist00"));
}

namespace {

QString writeText(const QTemporaryDir& dir, const QString& name, const QByteArray& bytes) {
    const QString path = dir.filePath(name);
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
    return path;
}

// "N of M records" that `ls` prints for a category.
QString countIn(const QString& doc, const QString& category) {
    const Result r = qvane({QStringLiteral("ls"), doc, QStringLiteral("--category"), category, QStringLiteral("--password-stdin")});
    return r.err.trimmed();
}

}  // namespace

TEST(SafeImport, OnlyTheImportedRecordsGetACategoryAndAFileWithoutRecordsChangesNothing) {
    QTemporaryDir dir;
    const QString doc = makeDocument(dir);
    auto import = [&](const QString& text, const QStringList& more = {}) {
        return qvane(QStringList{QStringLiteral("import"), doc, text, QStringLiteral("--password-stdin")} + more);
    };
    // Column 0 is the category, column 1 the name.
    ASSERT_EQ(import(writeText(dir, QStringLiteral("first.csv"), "Home,alpha\nHome,beta\nWork,gamma\n")).status, 0);
    ASSERT_EQ(countIn(doc, QStringLiteral("Home")), QStringLiteral("2 of 3 records"));
    // The records already there keep their categories; before, they were all moved into one.
    const Result r = import(writeText(dir, QStringLiteral("second.csv"), "Misc,delta\n"),
                            {QStringLiteral("--format"), QStringLiteral("2")});
    ASSERT_EQ(r.status, 0) << r.err.toStdString();
    EXPECT_EQ(countIn(doc, QStringLiteral("Home")), QStringLiteral("2 of 4 records"));
    EXPECT_EQ(countIn(doc, QStringLiteral("Work")), QStringLiteral("1 of 4 records"));
    EXPECT_EQ(countIn(doc, QStringLiteral("Misc")), QStringLiteral("1 of 4 records"));

    // Empty, nothing but line ends, or junk for the encoding: exit 6 and the file as it was.
    const QByteArray before = contents(doc);
    const QStringList nothing{writeText(dir, QStringLiteral("empty.csv"), QByteArray()),
                              writeText(dir, QStringLiteral("blank.txt"), "\n\n\r\n")};
    for (const QString& text : nothing) {
        const Result none = import(text);
        EXPECT_EQ(none.status, 6) << text.toStdString() << ": " << none.err.toStdString();
        EXPECT_TRUE(none.err.contains(QStringLiteral("was not changed")));
    }
    const Result junk = import(writeText(dir, QStringLiteral("junk.txt"), QByteArray("\xff\xfe\xfa\x80\x81 a\tb", 10)),
                               {QStringLiteral("--encoding"), QStringLiteral("1")});
    EXPECT_EQ(junk.status, 6) << junk.err.toStdString();
    EXPECT_EQ(contents(doc), before);
}

// A UTF-16 file with a lone surrogate is not valid in its encoding: it gives no text, so nothing
// is imported and the document stays as it was (text typed or dropped into a window is repaired
// to U+FFFD instead, where nothing can be refused).
TEST(SafeImport, ALoneSurrogateInAWideFileImportsNothing) {
    QTemporaryDir dir;
    const QString doc = makeDocument(dir);
    const QByteArray before = contents(doc);
    // UTF-16LE with its mark: "Home", a tab, then "a", a lone high surrogate, "b".
    QByteArray text("\xff\xfe", 2);
    for (char16_t u : {u'H', u'o', u'm', u'e', u'\t', u'a', char16_t(0xD800), u'b', u'\n'})
        text += QByteArray(reinterpret_cast<const char*>(&u), 2);
    const Result r = qvane({QStringLiteral("import"), doc, writeText(dir, QStringLiteral("odd.txt"), text),
                            QStringLiteral("--password-stdin")});
    EXPECT_EQ(r.status, 6) << r.err.toStdString();
    EXPECT_EQ(contents(doc), before);
}
