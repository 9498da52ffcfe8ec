#include "shell/MyAppDelegate.h"

#include <gtest/gtest.h>

using namespace qv;

TEST(MyAppDelegate, EighteenDefaultsInOrderUnderTheUsersValuesAndTheStartupCheck) {
    MemoryUserDefaults d;
    MyAppDelegate::initialize(d);
    const Dictionary registered = MyAppDelegate::registeredDefaults();
    ASSERT_EQ(registered.count(), 18);
    EXPECT_EQ(registered.keyAt(0), prefs::notifyUpdate);
    EXPECT_EQ(registered.keyAt(17), prefs::useHudNotifyForCopy);
    EXPECT_TRUE(d.objectForKey(prefs::tableFontSize).isReal());
    EXPECT_EQ(d.doubleForKey(prefs::tableFontSize), 12.0);
    EXPECT_EQ(d.integerForKey(prefs::autolocBackgroundInterval), 120);
    EXPECT_EQ(d.integerForKey(prefs::tableSortCompare), 2);
    EXPECT_EQ(d.stringForKey(prefs::noCharStringDisambiguator), QStringLiteral("0O1lI"));
    EXPECT_FALSE(d.boolForKey(prefs::enableDisambiguator));  // never registered
    EXPECT_TRUE(d.objectForKey(prefs::StartupSelectedDocPath).isAbsent());

    // Only a stored empty path, not an absent one, leaves the startup document unspecified.
    MyAppDelegate absent;
    absent.adjustBeforeFinishingLaunching(d);
    EXPECT_TRUE(absent.StartupDocSpecified);
    d.setObject(prefs::StartupSelectedDocPath, Value(QString()));
    MyAppDelegate empty;
    empty.adjustBeforeFinishingLaunching(d);
    EXPECT_FALSE(empty.StartupDocSpecified);
    EXPECT_EQ(empty.StartupDocPathMessageString, QStringLiteral("Please select a file or change startup option"));
    EXPECT_EQ(empty.releaseString, QStringLiteral("4.2"));
    EXPECT_EQ(empty.registeredTransformers.count(QStringLiteral("valueNot0")), 2);
}
