#include "QvaneCommand.h"

#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>

using namespace qv::cli;

namespace {

struct Captured {
    int status;
    std::string out, err;
};

Captured runCaptured(const QStringList& args) {
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    const int status = run(args, Streams{out, err});
    auto slurp = [](std::FILE* f) {
        std::string s;
        std::rewind(f);
        char buf[512];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
        std::fclose(f);
        return s;
    };
    return Captured{status, slurp(out), slurp(err)};
}

}  // namespace

TEST(QvaneCommand, VersionHelpAndUsageErrors) {
    const Captured v = runCaptured({QStringLiteral("--version")});
    EXPECT_EQ(v.status, kExitOk);
    EXPECT_EQ(v.out.rfind("qvane 4.2 ", 0), 0u) << v.out;
    const Captured h = runCaptured({QStringLiteral("--help")});
    EXPECT_EQ(h.status, kExitOk);
    EXPECT_NE(h.out.find("Usage: qvane"), std::string::npos);
    EXPECT_TRUE(h.err.empty());

    // Usage errors exit with 2.
    const Captured none = runCaptured({});
    EXPECT_EQ(none.status, kExitUsage);
    EXPECT_NE(none.err.find("Usage"), std::string::npos);
    const Captured bad = runCaptured({QStringLiteral("frobnicate")});
    EXPECT_EQ(bad.status, kExitUsage);
    EXPECT_NE(bad.err.find("unknown command \"frobnicate\""), std::string::npos);
    EXPECT_TRUE(bad.out.empty());
}

TEST(QvaneCommand, GenerateHonoursTypeLengthCountAndAvoidedCharacters) {
    const Captured c = runCaptured({QStringLiteral("generate"), QStringLiteral("--type"), QStringLiteral("30"),
                                    QStringLiteral("--length"), QStringLiteral("9"), QStringLiteral("--count"),
                                    QStringLiteral("40")});
    ASSERT_EQ(c.status, kExitOk) << c.err;
    const QStringList lines = QString::fromStdString(c.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 40);
    // Only the passwords on standard output; the rating once on standard error.
    for (const QString& password : lines) {
        EXPECT_EQ(password.size(), 9);
        for (QChar ch : password) EXPECT_TRUE(ch.isDigit());
    }
    EXPECT_NE(c.err.find(" 1/10\n"), std::string::npos) << c.err;  // ln(10^9)/10 = 2, one star less
    EXPECT_EQ(runCaptured({QStringLiteral("generate"), QStringLiteral("--count"), QStringLiteral("x")}).status, kExitUsage);
    // A length out of range is refused, not quietly changed; types go by name too.
    for (const char* length : {"4", "43"}) {
        const Captured bad = runCaptured({QStringLiteral("generate"), QStringLiteral("--length"), QLatin1String(length)});
        EXPECT_EQ(bad.status, kExitUsage) << length;
        EXPECT_TRUE(bad.out.empty());
    }
    const Captured hex = runCaptured({QStringLiteral("generate"), QStringLiteral("--type"), QStringLiteral("hex"),
                                      QStringLiteral("--length"), QStringLiteral("42"), QStringLiteral("--json")});
    ASSERT_EQ(hex.status, kExitOk) << hex.err;
    EXPECT_NE(hex.out.find("\"rating\": "), std::string::npos) << hex.out;
    const std::string made = hex.out.substr(hex.out.find("\"password\": \"") + 13, 42);
    EXPECT_EQ(made.find_first_not_of("0123456789ABCDEF"), std::string::npos) << made;
    EXPECT_EQ(runCaptured({QStringLiteral("generate"), QStringLiteral("--type"), QStringLiteral("emoji")}).status, kExitUsage);
}

// Started as a user who set no locale would start it, with a preferences folder of its own.
TEST(QvaneCommand, LsSortsLikeTheWindowWithoutALocaleAndByThePreference) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("names.qvane"));
    {
        qv::MyDocument doc;
        doc.prepareNewDocument();
        double created = 4000;  // the last made first
        for (const char* name : {"fig", "Zebra", "\xC3\xA9" "clair", "apple"}) {
            qv::Dictionary r = qv::RecordModel::newRecord(created -= 1000);
            r.set(qv::keys::name, qv::Value(QString::fromUtf8(name)));
            doc.myArray.append(qv::Value(r));
        }
        doc.plainPassword = QStringLiteral("secret123");
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(doc.dataOfType(QString()).value());
    }
    auto sortedNames = [&](const char* column = "name") {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(QVANE_PATH),
                {QStringLiteral("ls"), path, QStringLiteral("--sort"), QLatin1String(column), QStringLiteral("--columns"),
                 QStringLiteral("name"), QStringLiteral("--password-stdin")});
        p.write("secret123\n");
        p.closeWriteChannel();
        p.waitForFinished(60000);
        QStringList lines = QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        if (!lines.isEmpty()) lines.removeFirst();  // the header
        for (QString& l : lines) l = l.trimmed();
        return lines.join(QLatin1Char(' '));
    };
    // The default comparison ignores case, also without a locale.
    EXPECT_EQ(sortedNames(), QString::fromUtf8("apple \xC3\xA9" "clair fig Zebra"));
    EXPECT_EQ(sortedNames("createdDate"), QString::fromUtf8("apple \xC3\xA9" "clair Zebra fig"));
    // The user's choice of plain code units, as the window would take it.
    QDir().mkpath(dir.filePath(QStringLiteral("config/Quorvane")));
    QFile ini(dir.filePath(QStringLiteral("config/Quorvane/Quorvane.ini")));
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
    ini.write("[General]\ntableSortCompare=0\n");
    ini.close();
    EXPECT_EQ(sortedNames(), QString::fromUtf8("Zebra apple fig \xC3\xA9" "clair"));
}
