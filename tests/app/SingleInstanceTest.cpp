#include "SingleInstance.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHostInfo>
#include <QStandardPaths>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using qv::app::SingleInstance;

namespace {
QString uniqueName() { return QStringLiteral("quorvane-test-%1").arg(QCoreApplication::applicationPid()); }
}  // namespace

TEST(SingleInstance, ASecondLaunchHandsItsFilesToTheFirst) {
    SingleInstance first(uniqueName());
    ASSERT_TRUE(first.becomePrimary());
    QStringList received;
    QObject::connect(&first, &SingleInstance::filesReceived, [&](const QStringList& f) { received = f; });

    SingleInstance second(uniqueName());
    EXPECT_FALSE(second.becomePrimary());
    // The second launch blocks on its socket, so it runs beside the first's event loop.
    std::atomic<int> sent{-1};
    std::thread launcher([&] { sent = second.sendToPrimary({QStringLiteral("/tmp/a.qvane"), QStringLiteral("b.qvane")}) ? 1 : 0; });
    for (int i = 0; i < 300 && sent < 0; ++i) QTest::qWait(10);
    launcher.join();
    EXPECT_EQ(sent, 1);
    ASSERT_EQ(received.size(), 2);
    EXPECT_EQ(received[0], QStringLiteral("/tmp/a.qvane"));
    EXPECT_TRUE(QDir::isAbsolutePath(received[1]));
}

TEST(SingleInstance, AStaleLockFromACrashedProcessIsTakenOver) {
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty()) dir = QDir::tempPath();
    QDir().mkpath(dir);
    const QString name = uniqueName() + QStringLiteral("-stale");
    QFile lock(QDir(dir).filePath(name + QStringLiteral(".lock")));
    ASSERT_TRUE(lock.open(QIODevice::WriteOnly));
    // A process id that does not exist, on this host.
    lock.write("2147483000\nquorvane\n" + QHostInfo::localHostName().toUtf8() + "\n");
    lock.close();
    SingleInstance instance(name);
    EXPECT_TRUE(instance.becomePrimary());
}
