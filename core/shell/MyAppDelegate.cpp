#include "MyAppDelegate.h"

#include "foundation/ZKAppSupportUtility.h"

#include <algorithm>

namespace qv {

ZKAppDelegateBase::ZKAppDelegateBase() {
    releaseString = ZKAppSupportUtility::calcReleaseString(kReleaseNumber);
    appName = QStringLiteral("Quorvane 4");
    StartupDocPathMessageString = QString();
    StartupDocSpecified = true;
    documentIsOpening = finishedLaunching = usingAServices = 0;
    registeredTransformers << QStringLiteral("valueNot0");
}

void ZKAppDelegateBase::adjustBeforeFinishingLaunching(const UserDefaults& defaults) {
    // Only a stored empty path counts; an absent one does not.
    const Value path = defaults.objectForKey(prefs::StartupSelectedDocPath);
    if (path.isString() && path.stringRef().isEmpty()) {
        StartupDocPathMessageString = QStringLiteral("Please select a file or change startup option");
        StartupDocSpecified = false;
    }
}

QString ZKAppDelegateBase::getAppStantment() { return QStringLiteral("The password manager for macOS and iOS"); }

Dictionary MyAppDelegate::registeredDefaults() {
    Dictionary d;
    d.set(prefs::notifyUpdate, Value::boolean(true));
    d.set(prefs::lastVersionUsedToUpdatePref, Value::integer(0));
    d.set(prefs::StartupActionTag, Value::integer(0));
    d.set(prefs::StartupSelectedDoc, Value(QString()));
    d.set(prefs::tableFontFamily, Value("Lucida Grande"));
    d.set(prefs::tableFontSize, Value::real32(12.0f));
    d.set(prefs::tableFontBold, Value::boolean(false));
    d.set(prefs::tableFontItalic, Value::boolean(false));
    d.set(prefs::openingSortBy, Value::integer(0));
    d.set(prefs::autosavingDelay, Value::integer(20));
    d.set(prefs::automaticSavingInterval, Value::integer(40));
    d.set(prefs::autolocBackgroundEnabled, Value::boolean(false));
    d.set(prefs::autolocBackgroundInterval, Value::integer(120));
    d.set(prefs::disposePasswordIconAfter, Value::integer(20));
    d.set(prefs::noCharStringDisambiguator, Value("0O1lI"));
    d.set(prefs::tableSortCompare, Value::integer(2));
    d.set(prefs::notifyHudTimer, Value::integer(10));
    d.set(prefs::useHudNotifyForCopy, Value::boolean(true));
    return d;
}

void MyAppDelegate::initialize(UserDefaults& defaults) { defaults.registerDefaults(registeredDefaults()); }

MyAppDelegate::MyAppDelegate() {
    // Bindings refer to the transformers by name; "valueNot0" comes twice, as it always did.
    registeredTransformers << QStringLiteral("valueIs0") << QStringLiteral("valueIs1") << QStringLiteral("valueIs3")
                           << QStringLiteral("dictToNSColor") << QStringLiteral("valueNot0")
                           << QStringLiteral("ret1ifnot0") << QStringLiteral("heightAmplifier")
                           << QStringLiteral("bool2Num");
}

void MyAppDelegate::buildUpFontMenuAndBindProgrammatically(QStringList families) {
    std::sort(families.begin(), families.end());
    fontFamilyArray = Array();
    for (const QString& f : families) fontFamilyArray.append(Value(Dictionary{{QStringLiteral("font"), Value(f)}}));
}

}  // namespace qv
