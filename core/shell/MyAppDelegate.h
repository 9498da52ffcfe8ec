#pragma once

// The application delegate's logic: the registered preferences, the names of the value
// transformers, the release texts, the start-up document message and the generator's initial
// state. The Qt program owns one and wires it to the application's events.

#include "ApplicationUi.h"
#include "PreferenceKeys.h"

#include "foundation/Sender.h"
#include "foundation/UserDefaults.h"
#include "foundation/Value.h"
#include "foundation/Workspace.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace qv {


class ZKPhoneHome;

namespace startup {
inline const QString kPleaseSelect = QStringLiteral("Please select a file or change startup option");
inline const QString kStale = QStringLiteral("Stale bookmark. Please re-select");
inline const QString kNotValid = QStringLiteral("Not valid bookmark. Please re-select");
}  // namespace startup

class ZKAppDelegateBase {
public:
    ZKAppDelegateBase();
    virtual ~ZKAppDelegateBase() = default;

    // What the delegate works with; the program sets them once before launching ends.
    struct Services {
        UserDefaults* defaults = nullptr;
        ApplicationUi* ui = nullptr;
        Workspace* workspace = nullptr;
        ZKPhoneHome* phoneHome = nullptr;
        // The guide as shipped with the program, and the user's data folder it is copied to.
        QString userGuideSource;
        QString dataFolder;
    };
    void setServices(Services services) { services_ = std::move(services); }
    const Services& services() const { return services_; }
    // Called whenever StartupDocPathMessageString or StartupDocSpecified change, so that the
    // preferences window can follow.
    std::function<void()> startupDocStateChanged;

    QString releaseString;
    QString appName;
    QString StartupDocPathMessageString;
    bool StartupDocSpecified = true;
    int documentIsOpening = 0;
    int finishedLaunching = 0;
    int usingAServices = 0;
    // Value transformer names in the order registered (a name may come twice).
    QStringList registeredTransformers;

    // The preference side of it: the start-up document message when none is chosen.
    void adjustBeforeFinishingLaunching(const UserDefaults& defaults);
    static QString getAppStantment();
    static QString softwareUpdateMenuTitle() { return QStringLiteral("Software Update\u2026"); }

    // The start-up document.
    bool applicationShouldOpenUntitledFile() const;
    void executeDocumentStartupAsInPref(const Sender& sender = {});
    void newDocIfNoDocOpened();
    void openDialogIfNoDocOpened();
    void selectStartupDoc(const Sender& sender = {});
    void clearStartupSelectedDoc(const Sender& sender = {});
    void testOpenStartupDoc(const Sender& sender = {});
    void showInFinderStartupDoc(const Sender& sender = {});
    void UseFrontDocumentAsStartupDoc(const Sender&) {}
    virtual QStringList allowedStartupDocExtensions() const { return {QString()}; }

    // The user guide.
    void openUserGuide(const Sender& sender = {});
    virtual QString getUserGuideName() const { return {}; }
    virtual QString getUserGuideNameWithThisRelNum() const { return {}; }
    QString getUserGuideDirPath() const;
    QString getUserGuideFinalPath() const;

    void checkForLastReleaseAvailable(const Sender& sender = {});
    void openPreferences(const Sender& sender = {});

private:
    void setStartupDocState(const QString& message, bool specified);
    void setStartupDocMessage(const QString& message);
    // Steps 1 and 2 shared by test-open and reveal: the bookmark's path, stored anew when the
    // file has moved.
    std::optional<QString> resolveStartupDoc();
    void openStartupDocAtLaunch();
    Services services_;
};

class MyAppDelegate : public ZKAppDelegateBase {
public:
    // The 18 registered defaults, in the order of registration.
    static Dictionary registeredDefaults();
    // Registers them (the class initialisation of the original).
    static void initialize(UserDefaults& defaults);

    MyAppDelegate();

    QStringList allowedStartupDocExtensions() const override { return {QStringLiteral("qvane")}; }
    QString getUserGuideName() const override { return QStringLiteral("Quorvane 4 User Guide"); }
    QString getUserGuideNameWithThisRelNum() const override { return QStringLiteral("Quorvane 4 User Guide 4.2"); }

    QString password4PasswordMaker;
    int pwLength4PasswordMaker = 12;
    int pwTypeTag4PasswordMaker = 40;
    bool pwIsVisible4PasswordMaker = false;
    int pullMenuIsOn = 0;

    // One dictionary {"font": family} per family, sorted.
    Array fontFamilyArray;
    void buildUpFontMenuAndBindProgrammatically(QStringList families);
};

}  // namespace qv
