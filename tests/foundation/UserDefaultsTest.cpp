#include "foundation/UserDefaults.h"

#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace qv;

namespace {

Dictionary registered() {
    return Dictionary{{QStringLiteral("lockAutomatically"), Value::boolean(false)},
                      {QStringLiteral("autoLockTime"), Value::integer(300)},
                      {QStringLiteral("notifyDelay"), Value::real(1.5)},
                      {QStringLiteral("disambiguator"), Value("Il1O0")}};
}

}  // namespace

TEST(UserDefaults, UserValuesOverRegisteredDefaults) {
    MemoryUserDefaults d;
    d.registerDefaults(registered());
    EXPECT_EQ(d.integerForKey(QStringLiteral("autoLockTime")), 300);
    d.setObject(QStringLiteral("autoLockTime"), Value::integer(60));
    EXPECT_EQ(d.integerForKey(QStringLiteral("autoLockTime")), 60);
    d.removeObject(QStringLiteral("autoLockTime"));
    EXPECT_EQ(d.integerForKey(QStringLiteral("autoLockTime")), 300);
    EXPECT_TRUE(d.objectForKey(QStringLiteral("neverRegistered")).isAbsent());
}

TEST(UserDefaults, IniValuesComeBackInTheRegisteredKindInAFreshProcess) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("quorvane.conf"));
    Array recent{Value("/home/u/a.qvane"), Value("/home/u/b.qvane")};
    {
        SettingsUserDefaults d(std::make_unique<QSettings>(path, QSettings::IniFormat));
        d.registerDefaults(registered());
        d.setObject(QStringLiteral("lockAutomatically"), Value::boolean(true));
        d.setObject(QStringLiteral("autoLockTime"), Value::integer(45));
        d.setObject(QStringLiteral("notifyDelay"), Value::real(0.75));
        d.setObject(QStringLiteral("disambiguator"), Value("xyz"));
        d.setObject(QStringLiteral("recent"), Value(recent));
        d.setObject(QStringLiteral("bookmark"), Value::data(QByteArray("\x00\x01path", 6)));
        d.sync();
    }
    // A new settings object reads the file from scratch, as the next start of the program does.
    SettingsUserDefaults d(std::make_unique<QSettings>(path, QSettings::IniFormat));
    d.registerDefaults(registered());
    const Value lock = d.objectForKey(QStringLiteral("lockAutomatically"));
    EXPECT_TRUE(lock.isBoolean() && lock.toBool());
    const Value time = d.objectForKey(QStringLiteral("autoLockTime"));
    EXPECT_TRUE(time.isInteger());
    EXPECT_EQ(time.toInt64(), 45);
    EXPECT_TRUE(d.objectForKey(QStringLiteral("notifyDelay")).isReal());
    EXPECT_EQ(d.doubleForKey(QStringLiteral("notifyDelay")), 0.75);
    EXPECT_EQ(d.stringForKey(QStringLiteral("disambiguator")), QStringLiteral("xyz"));
    EXPECT_TRUE(d.objectForKey(QStringLiteral("recent")) == Value(recent));
    EXPECT_EQ(d.objectForKey(QStringLiteral("bookmark")).toData(), QByteArray("\x00\x01path", 6));
}
