#include "shell/MyAppDelegate.h"
#include "shell/ZKPhoneHome.h"

#include "foundation/PropertyList.h"
#include "support/Fakes.h"

#include <gtest/gtest.h>

using namespace qv;
using qv::test::FakeFeedFetcher;
using qv::test::FakeWorkspace;

namespace {

const QString kM1 = QStringLiteral("http://127.0.0.1:1/mac/quorvane.plist");
const QString kM2 = QStringLiteral("http://127.0.0.1:2/mac/quorvane.plist");
const QString kM3 = QStringLiteral("http://127.0.0.1:3/mac/quorvane.plist");
const QString kM4 = QStringLiteral("http://127.0.0.1:4/mac/quorvane.plist");

QByteArray xmlFeed(const QString& body) {
    return (QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
                           "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\"><dict>") +
            body + QStringLiteral("</dict></plist>\n"))
        .toUtf8();
}

QByteArray binaryFeed(std::int64_t lra) {
    Dictionary d;
    d.set(QStringLiteral("LRA"), Value::integer(lra));
    d.set(QStringLiteral("GFU"), Value("http://127.0.0.1/get/quorvane.zip"));
    d.set(QStringLiteral("DPU"), Value("http://127.0.0.1/download/"));
    return *writeBinaryPropertyList(Value(d));
}

class PhoneHome : public ::testing::Test {
protected:
    MemoryUserDefaults defaults;
    FakeFeedFetcher fetcher;
    FakeWorkspace workspace;
    std::vector<Alert> alerts;
    std::deque<int> answers;
    std::function<void()> whileAlertShows;
    int visits = 0;
    QDateTime clock{QDate(2024, 3, 10), QTime(12, 0)};
    ZKPhoneHome home;

    void SetUp() override {
        MyAppDelegate::initialize(defaults);
        home.setServices({&defaults, &fetcher, &workspace,
                          [this](const Alert& a) {
                              alerts.push_back(a);
                              if (whileAlertShows) whileAlertShows();
                              if (answers.empty()) return kAlertFirstButtonReturn + 2;
                              const int r = answers.front();
                              answers.pop_front();
                              return r;
                          },
                          [this] { ++visits; }, [this] { return clock; }});
        home.SetValueAppRelease(40200, QStringLiteral("Quorvane"), kM1, kM2, kM3, kM4);
    }
    void lastCheckAt(const QDateTime& t) {
        defaults.setObject(prefs::lastCheckDateForUpdate,
                           Value::date(double(t.toMSecsSinceEpoch()) / 1000.0 - 978307200.0));
    }
    bool checkedToday() const { return !home.lastCheckNotToday(); }
};

TEST_F(PhoneHome, ManualCheckTellsEachOutcomeWithItsTexts) {
    fetcher.feeds[kM1] = binaryFeed(40300);
    answers = {kAlertFirstButtonReturn};
    home.checkForLastReleaseAvailableWithNotify();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].messageText, QStringLiteral("There is an update available for Quorvane"));
    EXPECT_EQ(alerts[0].informativeText,
              QStringLiteral("You are using release: 4.2\nLatest available release is: 4.3\nZenmorrow recommends to use "
                             "always the latest release"));
    EXPECT_EQ(alerts[0].buttons,
              QStringList({QStringLiteral("Download Update"), QStringLiteral("Download Page"), QStringLiteral("Later")}));
    EXPECT_EQ(workspace.openedUrls, std::vector<QString>{QStringLiteral("http://127.0.0.1/get/quorvane.zip")});
    EXPECT_FALSE(home.isChekingUpdateSystem);
    EXPECT_TRUE(checkedToday());

    // Equal and lower numbers are both "up to date"; the download page button opens DPU.
    for (std::int64_t lra : {40200, 30905}) {
        alerts.clear();
        workspace.openedUrls.clear();
        fetcher.feeds[kM1] = binaryFeed(lra);
        answers = {kAlertFirstButtonReturn};
        home.checkForLastReleaseAvailableWithNotify();
        ASSERT_EQ(alerts.size(), 1u) << lra;
        EXPECT_EQ(alerts[0].messageText, QStringLiteral("Quorvane is up to date"));
        EXPECT_TRUE(alerts[0].informativeText.startsWith(QStringLiteral("You are using the latest available release.\n")));
        EXPECT_TRUE(alerts[0].informativeText.endsWith(QStringLiteral("more macOS apps!\n")));
        EXPECT_EQ(alerts[0].buttons.first(), QStringLiteral("Go to Zenmorrow Download Page"));
        EXPECT_EQ(workspace.openedUrls, std::vector<QString>{QStringLiteral("http://127.0.0.1/download/")});
    }

    // No mirror answers.
    alerts.clear();
    fetcher.feeds.clear();
    home.checkForLastReleaseAvailableWithNotify();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].messageText, QStringLiteral("Quorvane was not able to connect to the Zenmorrow server"));
    EXPECT_EQ(alerts[0].informativeText,
              QStringLiteral("It was not possible to enstablish a internet connection on the net with the Zenmorrow "
                             "upgrade server. Check your internet connection or try later."));
    EXPECT_EQ(alerts[0].buttons, QStringList{QStringLiteral("OK")});
    EXPECT_EQ(fetcher.requested.size(), 3u + 4u);
}

TEST_F(PhoneHome, FeedWithoutNumberSaysNothingAndWithoutAddressesItsButtonsOpenNothing) {
    // Without a number the check still counts as done.
    fetcher.feeds[kM1] = xmlFeed(QStringLiteral("<key>DPU</key><string>http://127.0.0.1/</string>"));
    home.checkForLastReleaseAvailableWithNotify();
    EXPECT_TRUE(alerts.empty());
    EXPECT_TRUE(checkedToday());
    EXPECT_FALSE(home.isChekingUpdateSystem);

    fetcher.feeds[kM1] = xmlFeed(QStringLiteral("<key>LRA</key><integer>50000</integer>"
                                                "<key>DPU</key><string>not a url at all</string>"));
    answers = {kAlertFirstButtonReturn};
    home.checkForLastReleaseAvailableWithNotify();
    answers = {kAlertSecondButtonReturn};
    home.checkForLastReleaseAvailableWithNotify();
    EXPECT_EQ(alerts.size(), 2u);
    EXPECT_TRUE(alerts[0].informativeText.contains(QStringLiteral("Latest available release is: 5.0\n")));
    EXPECT_TRUE(workspace.openedUrls.empty());
}

TEST_F(PhoneHome, MirrorsAreTriedInOrderUntilOneGivesADictionary) {
    // Mirror 1 does not answer, mirror 2 answers with something that is not a dictionary,
    // mirror 3 with the feed; mirror 4 is never asked.
    fetcher.feeds[kM2] = QByteArrayLiteral("<html>503 Service Unavailable</html>");
    fetcher.feeds[kM3] = binaryFeed(40300);
    fetcher.feeds[kM4] = binaryFeed(99999);
    answers = {kAlertFirstButtonReturn + 2};
    home.checkForLastReleaseAvailableWithNotify();
    EXPECT_EQ(fetcher.requested, (std::vector<QString>{kM1, kM2, kM3}));
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_TRUE(alerts[0].informativeText.contains(QStringLiteral("is: 4.3\n")));
    EXPECT_TRUE(workspace.openedUrls.empty());  // "Later"
}

TEST_F(PhoneHome, DailyCheckGoesByCalendarDayNotByHours) {
    fetcher.feeds[kM1] = binaryFeed(40200);
    clock = QDateTime(QDate(2024, 3, 11), QTime(0, 1));
    lastCheckAt(QDateTime(QDate(2024, 3, 10), QTime(23, 59)));  // two minutes ago, yesterday
    home.startupProcedure();
    EXPECT_EQ(fetcher.requested.size(), 1u);
    EXPECT_TRUE(alerts.empty());  // equal number on the daily path: nothing to say

    fetcher.requested.clear();
    clock = QDateTime(QDate(2024, 3, 11), QTime(23, 58));  // almost a day later, same day
    home.startupProcedure();
    home.dailySilentCheckForLastReleaseAvailable();
    EXPECT_TRUE(fetcher.requested.empty());

    // The next day, a newer release is announced on the verbose daily path.
    clock = clock.addSecs(180);
    fetcher.feeds[kM1] = binaryFeed(40201);
    home.startupProcedure();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].messageText, QStringLiteral("There is an update available for Quorvane"));
}

TEST_F(PhoneHome, NothingHappensWhileACheckRuns) {
    fetcher.hold = true;
    fetcher.feeds[kM1] = binaryFeed(40200);
    home.checkForLastReleaseAvailableWithNotify();
    ASSERT_TRUE(home.isChekingUpdateSystem);
    home.checkForLastReleaseAvailableWithNotify();
    home.silentCheckForLastReleaseAvailable();
    home.dailyVerboseCheckForLastReleaseAvailable();
    EXPECT_EQ(fetcher.requested.size(), 1u);
    EXPECT_TRUE(alerts.empty());
    fetcher.releaseAll();
    EXPECT_EQ(alerts.size(), 1u);
    EXPECT_FALSE(home.isChekingUpdateSystem);
    home.silentCheckForLastReleaseAvailable();
    EXPECT_EQ(fetcher.requested.size(), 2u);
}

TEST_F(PhoneHome, FirstStartWithoutNoticeInvitesAndItsOkMeetsTheRunningCheck) {
    defaults.setObject(prefs::notifyUpdate, Value::boolean(false));
    fetcher.hold = true;  // the silent fetch is still on its way when the invitation shows
    fetcher.feeds[kM1] = binaryFeed(40300);
    answers = {kAlertFirstButtonReturn};
    home.startupProcedure();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].messageText,
              QStringLiteral("Would you like that Quorvane informs you now for any available update?"));
    EXPECT_EQ(alerts[0].informativeText,
              QStringLiteral("Suggested option is to have the update report enabled.\nUse the Preference Dialog to "
                             "enable this feature."));
    EXPECT_EQ(alerts[0].buttons,
              QStringList({QStringLiteral("OK"), QStringLiteral("Zenmorrow Site"), QStringLiteral("Cancel")}));
    // "OK" met the guard of the silent check; the invitation cleared the flag all the same.
    EXPECT_EQ(fetcher.requested.size(), 1u);
    EXPECT_FALSE(home.isChekingUpdateSystem);
    fetcher.releaseAll();
    EXPECT_EQ(alerts.size(), 1u);  // silent: a newer release, but nobody is told
    EXPECT_TRUE(checkedToday());
}

TEST_F(PhoneHome, InvitationComesOnlyAfterMoreThanNinetyDays) {
    defaults.setObject(prefs::notifyUpdate, Value::boolean(false));
    lastCheckAt(clock.addSecs(-7776000));
    home.inCaseInviteToCheckForLastReleaseAvailable();
    EXPECT_TRUE(alerts.empty());

    lastCheckAt(clock.addSecs(-7776001));
    answers = {kAlertSecondButtonReturn};
    home.inCaseInviteToCheckForLastReleaseAvailable();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].messageText,
              QStringLiteral("It is more then 90 days this app doesn't report to you for updates.\nWould you like that "
                             "Quorvane informs you now for any available update?"));
    EXPECT_EQ(visits, 1);
    EXPECT_TRUE(fetcher.requested.empty());

    // With the notice on, the suggestion is left out.
    defaults.setObject(prefs::notifyUpdate, Value::boolean(true));
    home.inCaseInviteToCheckForLastReleaseAvailable();
    ASSERT_EQ(alerts.size(), 2u);
    EXPECT_TRUE(alerts[1].informativeText.isEmpty());
}

TEST_F(PhoneHome, DefaultNoticeOnMeansNoInvitation) {
    fetcher.feeds[kM2] = binaryFeed(40200);
    home.startupProcedure();
    EXPECT_TRUE(alerts.empty());
    EXPECT_EQ(fetcher.requested.size(), 2u);
}

TEST(PhoneHomeMirrors, PreferencesReplaceTheMakersMirrors) {
    MemoryUserDefaults d;
    EXPECT_TRUE(updates::mirror(d, 1).endsWith(QStringLiteral("/mac/quorvane.plist")));
    EXPECT_NE(updates::mirror(d, 1), updates::mirror(d, 2));
    d.setObject(updates::kMirrorPref2, Value(kM2));
    EXPECT_EQ(updates::mirror(d, 2), kM2);
}

}  // namespace
