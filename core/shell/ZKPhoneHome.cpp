#include "ZKPhoneHome.h"

#include "foundation/PropertyList.h"
#include "foundation/ZKAppSupportUtility.h"
#include "shell/MyAppDelegate.h"

#include <QUrl>

namespace qv {

namespace {
const QString kLRA = QStringLiteral("LRA");
const QString kGFU = QStringLiteral("GFU");
const QString kDPU = QStringLiteral("DPU");
const QString kLastCheck = QStringLiteral("lastCheckDateForUpdate");
const QString kNotifyUpdate = QStringLiteral("notifyUpdate");
constexpr qint64 kEpoch2001 = kUnixSecondsAt2001;
}  // namespace

QString updates::mirror(const UserDefaults& defaults, int number) {
    static const QString prefs[] = {kMirrorPref1, kMirrorPref2, kMirrorPref3, kMirrorPref4};
    static const QString makers[] = {kMirror1, kMirror2, kMirror3, kMirror4};
    if (number < 1 || number > 4) return {};
    const Value set = defaults.objectForKey(prefs[number - 1]);
    return set.isString() ? set.stringRef() : makers[number - 1];
}

ZKPhoneHome& ZKPhoneHome::sharedPhoneHome() {
    static ZKPhoneHome shared;
    return shared;
}

void ZKPhoneHome::SetValueAppRelease(std::int64_t release, const QString& appName, const QString& plistUrl1,
                                     const QString& plistUrl2, const QString& plistUrl3, const QString& plistUrl4) {
    myAppRelease = release;
    myAppName = appName;
    myPlistUrl1 = plistUrl1;
    myPlistUrl2 = plistUrl2;
    myPlistUrl3 = plistUrl3;
    myPlistUrl4 = plistUrl4;
}

QDateTime ZKPhoneHome::now() const { return services_.now ? services_.now() : QDateTime::currentDateTime(); }

int ZKPhoneHome::runModal(const Alert& alert) const {
    return services_.runModal ? services_.runModal(alert) : kAlertSecondButtonReturn + 1;
}

bool ZKPhoneHome::updateCheckAllowed() const {
    if (!builtWithUpdateCheck) return false;
    // Absent until the preferences are registered or set: on, as it always was.
    const Value enabled = services_.defaults ? services_.defaults->objectForKey(prefs::updateCheckEnabled) : Value();
    return enabled.isAbsent() || enabled.toBool();
}

void ZKPhoneHome::startupProcedure(const Sender&) {
    // Turned off, there is nothing to check and nothing to invite to.
    if (!updateCheckAllowed()) return;
    // The feed is fetched once a day either way; the preference only decides whether the user
    // hears of a new release.
    if (services_.defaults && services_.defaults->boolForKey(kNotifyUpdate)) {
        dailyVerboseCheckForLastReleaseAvailable();
    } else {
        dailySilentCheckForLastReleaseAvailable();
        inCaseInviteToCheckForLastReleaseAvailable();
    }
}

void ZKPhoneHome::silentCheckForLastReleaseAvailable(const Sender&) {
    if (isChekingUpdateSystem) return;
    checkForLastReleaseAvailableAndNotifyIsAvailable(false, false);
}

void ZKPhoneHome::dailySilentCheckForLastReleaseAvailable(const Sender&) {
    if (isChekingUpdateSystem || !lastCheckNotToday()) return;
    checkForLastReleaseAvailableAndNotifyIsAvailable(false, false);
}

void ZKPhoneHome::dailyVerboseCheckForLastReleaseAvailable(const Sender&) {
    if (isChekingUpdateSystem || !lastCheckNotToday()) return;
    checkForLastReleaseAvailableAndNotifyIsAvailable(true, false);
}

void ZKPhoneHome::checkForLastReleaseAvailableWithNotify(const Sender&) {
    if (isChekingUpdateSystem) return;
    checkForLastReleaseAvailableAndNotifyIsAvailable(true, true);
}

void ZKPhoneHome::checkForLastReleaseAvailableAndNotifyIsAvailable(bool notifyIsAvailable, bool notAvailable) {
    if (!updateCheckAllowed()) {
        // Only a check the user asked for says why nothing happens.
        if (notAvailable) {
            Alert alert;
            alert.messageText = QStringLiteral("%1 does not check for updates").arg(myAppName);
            alert.informativeText =
                builtWithUpdateCheck
                    ? QStringLiteral("Checking for updates is turned off in the Software Update preferences.")
                    : QStringLiteral("This copy was built without the update check; new releases come with your "
                                     "system's updates.");
            alert.buttons = {QStringLiteral("OK")};
            runModal(alert);
        }
        return;
    }
    isChekingUpdateSystem = true;
    getDictionaryFromTheNet([this, notifyIsAvailable, notAvailable](std::optional<Dictionary> feed) {
        if (feed) {
            // Any dictionary counts as today's check, with or without a release number in it.
            setInPreferencesTodayWasChecked();
            if (feed->contains(kLRA)) {
                const std::int64_t latest = feed->value(kLRA).toInt64();
                if (latest > myAppRelease && notifyIsAvailable) notifyAboutUpdateAvailable(*feed);
                if (latest <= myAppRelease && notAvailable) notifyAboutYourAppIsLastAvailable(*feed);
            }
        } else if (notAvailable) {
            notifyAboutFailedChechForUpdate();
        }
        isChekingUpdateSystem = false;
    });
}

bool ZKPhoneHome::lastCheckNotToday() const {
    const Value last = services_.defaults ? services_.defaults->objectForKey(kLastCheck) : Value();
    if (!last.isDate()) return true;
    // Calendar days, not 24 hours: a check at 23:59 and one at 00:01 are on two days.
    const QDateTime then = QDateTime::fromMSecsSinceEpoch(qint64((last.toDate() + kEpoch2001) * 1000.0));
    return then.toLocalTime().date() != now().toLocalTime().date();
}

void ZKPhoneHome::getDictionaryFromTheNet(std::function<void(std::optional<Dictionary>)> done) {
    tryMirror(0, std::move(done));
}

void ZKPhoneHome::tryMirror(int index, std::function<void(std::optional<Dictionary>)> done) {
    const QString mirrors[] = {myPlistUrl1, myPlistUrl2, myPlistUrl3, myPlistUrl4};
    if (index >= 4 || !updateCheckAllowed()) {
        done(std::nullopt);
        return;
    }
    const QUrl url(mirrors[index], QUrl::StrictMode);
    if (!services_.fetcher || mirrors[index].isEmpty() || !url.isValid()) {
        tryMirror(index + 1, std::move(done));
        return;
    }
    services_.fetcher->fetch(mirrors[index], [this, index, done](std::optional<QByteArray> bytes) mutable {
        // A mirror that does not answer and one that answers with something unreadable are
        // the same: the next one is asked.
        if (bytes) {
            const auto root = readPropertyList(*bytes);
            if (root && root->isDictionary()) {
                done(root->toDictionary());
                return;
            }
        }
        tryMirror(index + 1, std::move(done));
    });
}

void ZKPhoneHome::setInPreferencesTodayWasChecked() {
    if (!services_.defaults) return;
    const double seconds = double(now().toMSecsSinceEpoch()) / 1000.0 - double(kEpoch2001);
    services_.defaults->setObject(kLastCheck, Value::date(seconds));
    services_.defaults->synchronize();
}

void ZKPhoneHome::openUrlOf(const Dictionary& feed, const QString& key) const {
    // A malformed address gives no URL and opens nothing.
    const Value v = feed.value(key);
    if (!v.isString() || v.stringRef().isEmpty() || !services_.workspace) return;
    const QUrl url(v.stringRef(), QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty()) return;
    services_.workspace->openUrl(v.stringRef());
}

void ZKPhoneHome::notifyAboutUpdateAvailable(const Dictionary& feed) {
    Alert alert;
    alert.messageText = QStringLiteral("There is an update available for %1").arg(myAppName);
    alert.informativeText =
        QStringLiteral("You are using release: %1\nLatest available release is: %2\nZenmorrow recommends to use always "
                       "the latest release")
            .arg(ZKAppSupportUtility::calcReleaseString(myAppRelease),
                 ZKAppSupportUtility::calcReleaseString(feed.value(kLRA).toInt64()));
    alert.buttons = {QStringLiteral("Download Update"), QStringLiteral("Download Page"), QStringLiteral("Later")};
    const int answer = runModal(alert);
    if (answer == kAlertFirstButtonReturn) openUrlOf(feed, kGFU);
    else if (answer == kAlertSecondButtonReturn) openUrlOf(feed, kDPU);
    isChekingUpdateSystem = false;
}

void ZKPhoneHome::notifyAboutYourAppIsLastAvailable(const Dictionary& feed) {
    Alert alert;
    alert.messageText = QStringLiteral("%1 is up to date").arg(myAppName);
    alert.informativeText = QStringLiteral(
        "You are using the latest available release.\nIf you like, you can go to the Zenmorrow download page to "
        "manually check it.\n\nVisit us and see all the macOS software we have available.\nWe are one of the "
        "developers in the world with more macOS apps!\n");
    alert.buttons = {QStringLiteral("Go to Zenmorrow Download Page"), QStringLiteral("Close")};
    if (runModal(alert) == kAlertFirstButtonReturn) openUrlOf(feed, kDPU);
    isChekingUpdateSystem = false;
}

void ZKPhoneHome::notifyAboutFailedChechForUpdate(const Dictionary&) {
    Alert alert;
    alert.messageText = QStringLiteral("%1 was not able to connect to the Zenmorrow server").arg(myAppName);
    alert.informativeText = QStringLiteral(
        "It was not possible to enstablish a internet connection on the net with the Zenmorrow upgrade server. Check "
        "your internet connection or try later.");
    alert.buttons = {QStringLiteral("OK")};
    runModal(alert);
    isChekingUpdateSystem = false;
}

void ZKPhoneHome::inCaseInviteToCheckForLastReleaseAvailable() {
    const Value last = services_.defaults ? services_.defaults->objectForKey(kLastCheck) : Value();
    if (last.isDate()) {
        const double nowSeconds = double(now().toMSecsSinceEpoch()) / 1000.0 - double(kEpoch2001);
        if (nowSeconds - last.toDate() <= updates::kInvitationAge) return;
    }
    Alert alert;
    alert.messageText =
        last.isDate()
            ? QString::asprintf("It is more then %li days this app doesn't report to you for updates.\n", 90L) +
                  QStringLiteral("Would you like that %1 informs you now for any available update?").arg(myAppName)
            : QStringLiteral("Would you like that %1 informs you now for any available update?").arg(myAppName);
    if (!(services_.defaults && services_.defaults->boolForKey(kNotifyUpdate)))
        alert.informativeText = QStringLiteral(
            "Suggested option is to have the update report enabled.\nUse the Preference Dialog to enable this feature.");
    alert.buttons = {QStringLiteral("OK"), QStringLiteral("Zenmorrow Site"), QStringLiteral("Cancel")};
    const int answer = runModal(alert);
    if (answer == kAlertFirstButtonReturn) checkForLastReleaseAvailableWithNotify();
    else if (answer == kAlertSecondButtonReturn && services_.visitUs) services_.visitUs();
    // Cleared even when a check still runs: kept as it always was.
    isChekingUpdateSystem = false;
}

}  // namespace qv
