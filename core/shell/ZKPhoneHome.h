#pragma once

// The update check: one small property list, fetched from the first of four mirrors that
// answers, one number compared with this release, and maybe a dialog whose buttons open web
// pages. It downloads and installs nothing itself. It runs once a day at start-up and on the
// user's command; one object serves the whole program.

#include "foundation/Alert.h"
#include "foundation/FeedFetcher.h"
#include "foundation/Sender.h"
#include "foundation/UserDefaults.h"
#include "foundation/Workspace.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

namespace qv {

namespace updates {
// The maker's mirrors; a preference of the same number replaces one (tests point them at a
// server of their own).
inline const QString kMirror1 = QStringLiteral("http://www1.zenmorrow.com/mac/quorvane.plist");
inline const QString kMirror2 = QStringLiteral("http://www2.zenmorrow.com/mac/quorvane.plist");
inline const QString kMirror3 = QStringLiteral("http://www3.zenmorrow.com/mac/quorvane.plist");
inline const QString kMirror4 = QStringLiteral("http://www4.zenmorrow.com/mac/quorvane.plist");
inline const QString kMirrorPref1 = QStringLiteral("updateFeedMirror1");
inline const QString kMirrorPref2 = QStringLiteral("updateFeedMirror2");
inline const QString kMirrorPref3 = QStringLiteral("updateFeedMirror3");
inline const QString kMirrorPref4 = QStringLiteral("updateFeedMirror4");
// The mirror's URL: the preference when the user or a test set one, else the maker's.
QString mirror(const UserDefaults& defaults, int number);
// Seconds without a check after which the invitation comes: 90 days.
inline constexpr double kInvitationAge = 7776000;
}  // namespace updates

class ZKPhoneHome {
public:
    struct Services {
        UserDefaults* defaults = nullptr;
        FeedFetcher* fetcher = nullptr;
        Workspace* workspace = nullptr;
        // A modal warning alert; answers 1000 for the first button.
        std::function<int(const Alert&)> runModal;
        // The maker's web site (the invitation's second button).
        std::function<void()> visitUs;
        // Empty: the system's clock.
        std::function<QDateTime()> now;
    };

    // The one object of the program.
    static ZKPhoneHome& sharedPhoneHome();

    ZKPhoneHome() = default;
    void setServices(Services services) { services_ = std::move(services); }

    void SetValueAppRelease(std::int64_t release, const QString& appName, const QString& plistUrl1,
                            const QString& plistUrl2, const QString& plistUrl3, const QString& plistUrl4);

    // Whether this build may fetch the feed at all: a distribution package built with
    // -DQV_UPDATE_CHECK=OFF never does (tests change it to stand for such a build).
#ifdef QV_UPDATE_CHECK_DISABLED
    bool builtWithUpdateCheck = false;
#else
    bool builtWithUpdateCheck = true;
#endif
    // The build allows it and the preference `updateCheckEnabled` is not off. When false, no
    // request leaves the machine: neither the daily check nor the user's own.
    bool updateCheckAllowed() const;

    bool isChekingUpdateSystem = false;
    std::int64_t myAppRelease = 0;
    QString myAppName;
    QString myPlistUrl1, myPlistUrl2, myPlistUrl3, myPlistUrl4;

    // At the end of launching: daily, verbose when the user wants to hear of new releases.
    void startupProcedure(const Sender& sender = {});
    void silentCheckForLastReleaseAvailable(const Sender& sender = {});
    void dailySilentCheckForLastReleaseAvailable(const Sender& sender = {});
    void dailyVerboseCheckForLastReleaseAvailable(const Sender& sender = {});
    void checkForLastReleaseAvailableWithNotify(const Sender& sender = {});
    void checkForLastReleaseAvailableAndNotifyIsAvailable(bool notifyIsAvailable, bool notAvailable);

    void inCaseInviteToCheckForLastReleaseAvailable();
    bool lastCheckNotToday() const;
    // The first mirror's answer that is a dictionary, or nothing; handed back on the main thread.
    void getDictionaryFromTheNet(std::function<void(std::optional<Dictionary>)> done);
    void setInPreferencesTodayWasChecked();

    void notifyAboutUpdateAvailable(const Dictionary& feed);
    void notifyAboutYourAppIsLastAvailable(const Dictionary& feed);
    void notifyAboutFailedChechForUpdate(const Dictionary& feed = {});

private:
    QDateTime now() const;
    int runModal(const Alert& alert) const;
    void openUrlOf(const Dictionary& feed, const QString& key) const;
    void tryMirror(int index, std::function<void(std::optional<Dictionary>)> done);

    Services services_;
};

}  // namespace qv
