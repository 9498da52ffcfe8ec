#include "MyAppDelegate.h"

#include "ZKBookmark.h"
#include "ZKPhoneHome.h"
#include "ZKValueTransformers.h"

#include "foundation/ZKAppSupportUtility.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace qv {

ZKAppDelegateBase::ZKAppDelegateBase() {
    releaseString = ZKAppSupportUtility::calcReleaseString(kReleaseNumber);
    appName = QStringLiteral("Quorvane 4");
    StartupDocPathMessageString = QString();
    StartupDocSpecified = true;
    documentIsOpening = finishedLaunching = usingAServices = 0;
    ValueTransformers::setValueTransformer(std::make_shared<ZKValueNotEqualToRef>(0), QStringLiteral("valueNot0"));
    registeredTransformers << QStringLiteral("valueNot0");
}

void ZKAppDelegateBase::adjustBeforeFinishingLaunching(const UserDefaults& defaults) {
    // Only a stored empty path counts; an absent one does not.
    const Value path = defaults.objectForKey(prefs::StartupSelectedDocPath);
    if (path.isString() && path.stringRef().isEmpty()) {
        setStartupDocState(startup::kPleaseSelect, false);
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
    // "dictToNSColor" draws, so the desktop program registers it (GuiValueTransformers).
    const std::pair<const char*, std::shared_ptr<const ZKValueTransformer>> named[] = {
        {"valueIs0", std::make_shared<ZKValueIsEqualToRef>(0)},
        {"valueIs1", std::make_shared<ZKValueIsEqualToRef>(1)},
        {"valueIs3", std::make_shared<ZKValueIsEqualToRef>(3)},
        {"valueNot0", std::make_shared<ZKValueNotEqualToRef>(0)},
        {"ret1ifnot0", std::make_shared<ZK1IfNot0>()},
        {"heightAmplifier", std::make_shared<ZKHeightForFontSize>()},
        {"bool2Num", std::make_shared<ZKNumberBoolToNumberNum>()}};
    for (const auto& [name, transformer] : named) ValueTransformers::setValueTransformer(transformer, QLatin1String(name));
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

// ---- The start-up document ----

void ZKAppDelegateBase::setStartupDocState(const QString& message, bool specified) {
    StartupDocPathMessageString = message;
    StartupDocSpecified = specified;
    if (startupDocStateChanged) startupDocStateChanged();
}

void ZKAppDelegateBase::setStartupDocMessage(const QString& message) {
    StartupDocPathMessageString = message;
    if (startupDocStateChanged) startupDocStateChanged();
}

bool ZKAppDelegateBase::applicationShouldOpenUntitledFile() const {
    return services_.defaults && services_.defaults->integerForKey(prefs::StartupActionTag) == 0;
}

void ZKAppDelegateBase::executeDocumentStartupAsInPref(const Sender&) {
    if (!services_.defaults || !services_.ui) return;
    // The one-second delay lets documents that the desktop opens at launch arrive first.
    switch (services_.defaults->integerForKey(prefs::StartupActionTag)) {
    case 0: services_.ui->scheduleTimer(1.0, [this] { newDocIfNoDocOpened(); }); break;
    case 1: services_.ui->scheduleTimer(1.0, [this] { openDialogIfNoDocOpened(); }); break;
    case 2: services_.ui->openDocument(); break;
    case 3: openStartupDocAtLaunch(); break;
    default: break;
    }
}

void ZKAppDelegateBase::newDocIfNoDocOpened() {
    if (services_.ui->hasDocuments() || documentIsOpening) return;
    services_.ui->newDocument();
}

void ZKAppDelegateBase::openDialogIfNoDocOpened() {
    if (services_.ui->hasDocuments() || documentIsOpening) return;
    services_.ui->openDocument();
}

void ZKAppDelegateBase::openStartupDocAtLaunch() {
    if (usingAServices) return;
    // A path that was cleared is "", one never chosen is absent: only the first gets this alert.
    const Value path = services_.defaults->objectForKey(prefs::StartupSelectedDocPath);
    if (path.isString() && path.stringRef().isEmpty()) {
        services_.ui->postToMainQueue([this] {
            Alert alert;
            alert.messageText = QStringLiteral("Preference was set to open at startup a document without specifying it");
            alert.informativeText = QStringLiteral("You can fix the problem in the preferences");
            alert.buttons = {QStringLiteral("Open Preferences"), QStringLiteral("Cancel")};
            setStartupDocState(startup::kPleaseSelect, false);
            if (services_.ui->runModal(alert) == kAlertFirstButtonReturn) openPreferences();
        });
        return;
    }
    bool stale = false;
    const auto url =
        ZKBookmark::urlForBookmark(services_.defaults->objectForKey(prefs::StartupSelectedDocBookmark).toData(), &stale);
    // A stale bookmark still opens; the message asks for a new choice.
    if (stale) setStartupDocMessage(startup::kStale);
    if (url && ZKBookmark::startAccessingSecurityScopedResource(*url)) {
        const QString file = *url;
        services_.ui->openDocumentWithContentsOfURL(file, [file] { ZKBookmark::stopAccessingSecurityScopedResource(file); });
        return;
    }
    Alert alert;
    alert.messageText = QStringLiteral("The system is negating the access to the document selected to be opened at startup");
    alert.informativeText = QStringLiteral("It must be re-selected in the preferences");
    alert.buttons = {QStringLiteral("Open Preferences"), QStringLiteral("Cancel")};
    setStartupDocState(startup::kNotValid, true);
    if (services_.ui->runModal(alert) == kAlertFirstButtonReturn) openPreferences();
}

void ZKAppDelegateBase::selectStartupDoc(const Sender&) {
    FilePanelOptions options;
    options.allowedExtensions = allowedStartupDocExtensions();
    options.prompt = QStringLiteral("Select");
    const auto chosen = services_.ui->runOpenPanelOnPreferences(options);
    if (!chosen) return;
    const auto bookmark = ZKBookmark::bookmarkForURL_RW(*chosen);
    services_.defaults->setObject(prefs::StartupSelectedDocBookmark, bookmark ? Value::data(*bookmark) : Value());
    services_.defaults->setObject(prefs::StartupSelectedDocPath, Value(*chosen));
    setStartupDocState(QString(), true);
}

void ZKAppDelegateBase::clearStartupSelectedDoc(const Sender&) {
    services_.defaults->setObject(prefs::StartupSelectedDocBookmark, Value::data(QByteArray()));
    services_.defaults->setObject(prefs::StartupSelectedDocPath, Value(QString()));
    setStartupDocState(startup::kPleaseSelect, false);
}

std::optional<QString> ZKAppDelegateBase::resolveStartupDoc() {
    bool stale = false;
    const auto url =
        ZKBookmark::urlForBookmark(services_.defaults->objectForKey(prefs::StartupSelectedDocBookmark).toData(), &stale);
    if (stale) setStartupDocMessage(startup::kStale);
    // The file has moved: its new path is the one to show. Without a file the path stays, so
    // that the user still sees what was chosen.
    if (url && *url != services_.defaults->stringForKey(prefs::StartupSelectedDocPath))
        services_.defaults->setObject(prefs::StartupSelectedDocPath, Value(*url));
    const Value stored = services_.defaults->objectForKey(prefs::StartupSelectedDocPath);
    if (stored.isString() && stored.stringRef().isEmpty()) setStartupDocMessage(startup::kPleaseSelect);
    return url;
}

void ZKAppDelegateBase::testOpenStartupDoc(const Sender&) {
    const auto url = resolveStartupDoc();
    // Without access nothing is shown: the message already tells what is wrong.
    if (url && ZKBookmark::startAccessingSecurityScopedResource(*url)) {
        const QString file = *url;
        services_.ui->openDocumentWithContentsOfURL(file, [file] { ZKBookmark::stopAccessingSecurityScopedResource(file); });
    }
}

void ZKAppDelegateBase::showInFinderStartupDoc(const Sender&) {
    resolveStartupDoc();
    const QString path = services_.defaults->stringForKey(prefs::StartupSelectedDocPath);
    if (!path.isEmpty() && QFileInfo::exists(path) && services_.workspace) services_.workspace->revealFile(path);
}

// ---- The user guide ----

QString ZKAppDelegateBase::getUserGuideDirPath() const {
    return QStringLiteral("%1/%2").arg(services_.dataFolder, getUserGuideName());
}

QString ZKAppDelegateBase::getUserGuideFinalPath() const {
    return QStringLiteral("%1/%2.pdf").arg(getUserGuideDirPath(), getUserGuideNameWithThisRelNum());
}

void ZKAppDelegateBase::openUserGuide(const Sender&) {
    const QString finalPath = getUserGuideFinalPath();
    if (!QFileInfo::exists(finalPath)) {
        const QString dirPath = getUserGuideDirPath();
        QDir dir(dirPath);
        if (!dir.exists()) QDir().mkpath(dirPath);
        // Listed before the copy, so that only the guides of earlier releases are removed.
        const QStringList before = dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        if (QFile::copy(services_.userGuideSource, finalPath))
            QFile::setPermissions(finalPath, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        for (const QString& name : before) {
            if (name == QLatin1String(".DS_Store")) continue;
            const QString old = dir.absoluteFilePath(name);
            if (QFileInfo(old).isDir() && !QFileInfo(old).isSymLink()) QDir(old).removeRecursively();
            else QFile::remove(old);
        }
    }
    if (services_.workspace) services_.workspace->openFile(finalPath);
}

void ZKAppDelegateBase::checkForLastReleaseAvailable(const Sender& sender) {
    if (services_.phoneHome) services_.phoneHome->checkForLastReleaseAvailableWithNotify(sender);
}

void ZKAppDelegateBase::openPreferences(const Sender&) {
    if (services_.ui) services_.ui->openPreferences();
}

}  // namespace qv
