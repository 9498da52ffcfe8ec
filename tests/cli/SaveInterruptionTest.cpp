// A save killed at any moment leaves the previous file whole: the new bytes go to a file beside
// it that is renamed over it only once complete.

#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "document/DocumentKeys.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <random>

using namespace qv;

namespace {

QByteArray bigDocument(const QString& password) {
    MyDocument doc;
    doc.prepareNewDocument();
    for (int i = 0; i < 20000; ++i) {
        Dictionary r = RecordModel::newRecord(i);
        r.set(keys::name, Value(QStringLiteral("record %1 with a longer name").arg(i)));
        r.set(keys::note, Value(QString(200, QLatin1Char('n'))));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = password;
    return doc.dataOfType(QString()).value();
}

bool opens(const QString& path, const QString& password) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    MyDocument doc;
    if (!doc.readFromData(f.readAll(), QString())) return false;
    doc.plainPassword = password;
    return doc.Decript() == 0;
}

}  // namespace

TEST(SaveInterruption, AKilledSaveLeavesThePreviousFileWhole) {
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("big.qvane"));
    const QString target = dir.filePath(QStringLiteral("target.qvane"));
    for (const QString& p : {source, target}) {
        QFile f(p);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bigDocument(QStringLiteral("secret")));
    }
    std::mt19937 rng(11);
    for (int round = 0; round < 8; ++round) {
        QProcess save;
        save.start(QStringLiteral(QVANE_PATH), {QStringLiteral("convert"), source, target, QStringLiteral("--password-stdin")});
        ASSERT_TRUE(save.waitForStarted());
        save.write("secret\n");
        save.closeWriteChannel();
        QThread::msleep(20 + rng() % 400);  // somewhere in deriving, archiving, enciphering or writing
        save.kill();
        save.waitForFinished();
        EXPECT_TRUE(opens(target, QStringLiteral("secret"))) << "round " << round;
    }
}

namespace {

struct Ran {
    int status;
    QByteArray out;
};

Ran qvane(const QStringList& args, const QByteArray& input) {
    QProcess p;
    p.start(QStringLiteral(QVANE_PATH), args);
    p.write(input);
    p.closeWriteChannel();
    p.waitForFinished(60000);
    return Ran{p.exitCode(), p.readAllStandardOutput()};
}

}  // namespace

// The health report: exit 9 with findings and the JSON that scripts read, 0 on a clean document.
TEST(QvaneReport, FindingsExitNineAndCleanDocumentsZero) {
    QTemporaryDir dir;
    qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());  // no preferences of the user's
    MyDocument doc;
    doc.prepareNewDocument();
    const char* passwords[] = {"Xk9#mQ2$vL7@pR4!", "123456", "Tq8%wN3&zB6*yK1+", "Tq8%wN3&zB6*yK1+", ""};
    for (int i = 0; i < 5; ++i) {
        Dictionary r = RecordModel::newRecord(nowSince2001());
        r.set(keys::name, Value(QStringLiteral("r%1").arg(i)));
        r.set(keys::password, Value(QString::fromLatin1(passwords[i])));
        r.set(keys::userID, Value(QStringLiteral("me")));
        if (i == 0) r.set(keys::modificationDate, Value::date(nowSince2001() - 400 * 86400.0));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = QStringLiteral("secret");
    const QString path = dir.filePath(QStringLiteral("health.qvane"));
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(doc.dataOfType(QString()).value());
    f.close();

    const Ran json = qvane({QStringLiteral("report"), path, QStringLiteral("--json"), QStringLiteral("--password-stdin")}, "secret\n");
    EXPECT_EQ(json.status, 9);
    const QJsonObject o = QJsonDocument::fromJson(json.out).object();
    ASSERT_EQ(o.value(QStringLiteral("weak")).toArray().size(), 1) << json.out.toStdString();
    const QJsonObject weak = o.value(QStringLiteral("weak")).toArray().at(0).toObject();
    EXPECT_EQ(weak.value(QStringLiteral("name")).toString(), QStringLiteral("r1"));
    EXPECT_EQ(weak.value(QStringLiteral("index")).toInt(), 1);
    EXPECT_TRUE(weak.value(QStringLiteral("bits")).isDouble());
    EXPECT_FALSE(weak.value(QStringLiteral("reason")).toString().isEmpty());
    const QJsonArray reused = o.value(QStringLiteral("reused")).toArray();
    ASSERT_EQ(reused.size(), 1);
    EXPECT_EQ(reused.at(0).toArray().at(1).toObject().value(QStringLiteral("index")).toInt(), 3);
    EXPECT_EQ(o.value(QStringLiteral("old")).toArray().at(0).toObject().value(QStringLiteral("name")).toString(), QStringLiteral("r0"));
    EXPECT_EQ(o.value(QStringLiteral("empty")).toArray().at(0).toObject().value(QStringLiteral("index")).toInt(), 4);

    // A threshold beyond the old record's age leaves it out; the plain text names every list.
    const Ran text = qvane({QStringLiteral("report"), path, QStringLiteral("--older-than"), QStringLiteral("500"),
                            QStringLiteral("--password-stdin")}, "secret\n");
    EXPECT_EQ(text.status, 9);
    EXPECT_TRUE(text.out.startsWith("5 records: 1 weak, 2 reused (1 group), 0 not changed for 500 days, 1 with a login"))
        << text.out.toStdString();
    EXPECT_EQ(qvane({QStringLiteral("report"), path, QStringLiteral("--older-than"), QStringLiteral("x"),
                     QStringLiteral("--password-stdin")}, "secret\n").status, 2);

    doc.myArray = Array();
    doc.myArray.append(Value(Dictionary{{keys::name, Value("ok")}, {keys::password, Value("Xk9#mQ2$vL7@pR4!")}}));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(doc.dataOfType(QString()).value());
    f.close();
    EXPECT_EQ(qvane({QStringLiteral("report"), path, QStringLiteral("--password-stdin")}, "secret\n").status, 0);
}

// Two versions under different master passwords: the result keeps A's password and every record;
// a dry run writes nothing.
TEST(QvaneMerge, DifferentPasswordsDryRunAndTheResultOpensWithAsPassword) {
    QTemporaryDir dir;
    auto write = [&](const QString& name, const QString& password, const QStringList& records, double modified) {
        MyDocument doc;
        doc.prepareNewDocument();
        for (int i = 0; i < records.size(); ++i) {
            Dictionary r = RecordModel::newRecord(1000 + i);
            r.set(keys::name, Value(records[i]));
            r.set(keys::modificationDate, Value::date(modified));
            doc.myArray.append(Value(r));
        }
        doc.plainPassword = password;
        QFile f(dir.filePath(name));
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(doc.dataOfType(QString()).value());
        return dir.filePath(name);
    };
    const QString a = write(QStringLiteral("doc.qvane"), QStringLiteral("aaaaaa"), {QStringLiteral("one"), QStringLiteral("two")}, 50);
    const QString b = write(QStringLiteral("doc (conflicted copy).qvane"), QStringLiteral("bbbbbb"),
                            {QStringLiteral("one renamed"), QStringLiteral("two"), QStringLiteral("three")}, 60);
    QFile fa(a);
    ASSERT_TRUE(fa.open(QIODevice::ReadOnly));
    const QByteArray before = fa.readAll();
    fa.close();

    const Ran dry = qvane({QStringLiteral("merge"), a, b, QStringLiteral("--dry-run"), QStringLiteral("--json"),
                           QStringLiteral("--password-stdin")}, "aaaaaa\nbbbbbb\n");
    EXPECT_EQ(dry.status, 0) << dry.out.toStdString();
    const QJsonObject o = QJsonDocument::fromJson(dry.out).object();
    EXPECT_EQ(o.value(QStringLiteral("added")).toArray().size(), 1);
    EXPECT_EQ(o.value(QStringLiteral("updatedFromB")).toArray().at(0).toString(), QStringLiteral("one renamed"));
    ASSERT_TRUE(fa.open(QIODevice::ReadOnly));
    EXPECT_EQ(fa.readAll(), before);
    fa.close();

    // B's password given for A is the wrong password for A.
    EXPECT_EQ(qvane({QStringLiteral("merge"), a, b, QStringLiteral("--password-stdin")}, "bbbbbb\nbbbbbb\n").status, 1);
    const Ran done = qvane({QStringLiteral("merge"), a, b, QStringLiteral("--password-stdin")}, "aaaaaa\nbbbbbb\n");
    EXPECT_EQ(done.status, 0);
    EXPECT_TRUE(done.out.startsWith("1 added from B, 1 updated from B")) << done.out.toStdString();
    EXPECT_TRUE(opens(a, QStringLiteral("aaaaaa")));
    EXPECT_FALSE(opens(a, QStringLiteral("bbbbbb")));
    const Ran listed = qvane({QStringLiteral("ls"), a, QStringLiteral("--json"), QStringLiteral("--password-stdin")}, "aaaaaa\n");
    QStringList names;
    for (const QJsonValue& r : QJsonDocument::fromJson(listed.out).array()) names << r.toObject().value(QStringLiteral("name")).toString();
    EXPECT_EQ(names, (QStringList{QStringLiteral("one renamed"), QStringLiteral("two"), QStringLiteral("three")}));
}
