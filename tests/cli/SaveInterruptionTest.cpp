// A save killed at any moment leaves the previous file whole: the new bytes go to a file beside
// it that is renamed over it only once complete.

#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "document/DocumentKeys.h"

#include <QFile>
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
