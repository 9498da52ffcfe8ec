#pragma once

// The application delegate's logic: the registered preferences, the names of the value
// transformers, the release texts, the start-up document message and the generator's initial
// state. The Qt program owns one and wires it to the application's events.

#include "foundation/UserDefaults.h"
#include "foundation/Value.h"

#include <QString>
#include <QStringList>

namespace qv {

namespace prefs {
inline const QString notifyUpdate = QStringLiteral("notifyUpdate");
inline const QString lastVersionUsedToUpdatePref = QStringLiteral("lastVersionUsedToUpdatePref");
inline const QString StartupActionTag = QStringLiteral("StartupActionTag");
inline const QString StartupSelectedDoc = QStringLiteral("StartupSelectedDoc");
inline const QString tableFontFamily = QStringLiteral("tableFontFamily");
inline const QString tableFontSize = QStringLiteral("tableFontSize");
inline const QString tableFontBold = QStringLiteral("tableFontBold");
inline const QString tableFontItalic = QStringLiteral("tableFontItalic");
inline const QString openingSortBy = QStringLiteral("openingSortBy");
inline const QString autosavingDelay = QStringLiteral("autosavingDelay");
inline const QString automaticSavingInterval = QStringLiteral("automaticSavingInterval");
inline const QString autolocBackgroundEnabled = QStringLiteral("autolocBackgroundEnabled");
inline const QString autolocBackgroundInterval = QStringLiteral("autolocBackgroundInterval");
inline const QString disposePasswordIconAfter = QStringLiteral("disposePasswordIconAfter");
inline const QString noCharStringDisambiguator = QStringLiteral("noCharStringDisambiguator");
inline const QString tableSortCompare = QStringLiteral("tableSortCompare");
inline const QString notifyHudTimer = QStringLiteral("notifyHudTimer");
inline const QString useHudNotifyForCopy = QStringLiteral("useHudNotifyForCopy");
// Used without a registered default: absent until first written.
inline const QString enableDisambiguator = QStringLiteral("enableDisambiguator");
inline const QString StartupSelectedDocPath = QStringLiteral("StartupSelectedDocPath");
inline const QString StartupSelectedDocBookmark = QStringLiteral("StartupSelectedDocBookmark");
inline const QString lastCheckDateForUpdate = QStringLiteral("lastCheckDateForUpdate");
}  // namespace prefs

class ZKAppDelegateBase {
public:
    ZKAppDelegateBase();
    virtual ~ZKAppDelegateBase() = default;

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
};

class MyAppDelegate : public ZKAppDelegateBase {
public:
    // The 18 registered defaults, in the order of registration.
    static Dictionary registeredDefaults();
    // Registers them (the class initialisation of the original).
    static void initialize(UserDefaults& defaults);

    MyAppDelegate();

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
