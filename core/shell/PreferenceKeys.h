#pragma once

// The names of the program's preferences, with the defaults of the opt-in ones. Everything that
// reads or writes a preference (the delegate, the copier, the command line) includes this alone.

#include "foundation/Value.h"

#include <QString>

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
// This program's own additions, registered apart from the table above: seconds after which a
// copied value is cleared from the clipboard (0: never), locking every document when the screen
// locks or the machine goes to sleep (both off), and whether the update feed may be fetched at all
// (on, as it always was; off, nothing goes to the network).
inline const QString clearClipboardAfter = QStringLiteral("clearClipboardAfter");
inline const QString lockDocumentsWhenSessionLocks = QStringLiteral("lockDocumentsWhenSessionLocks");
inline const QString updateCheckEnabled = QStringLiteral("updateCheckEnabled");
// After how many days without a change the password health report calls a password old.
inline const QString passwordHealthOldAfterDays = QStringLiteral("passwordHealthOldAfterDays");
inline Dictionary optInDefaults() {
    Dictionary d;
    d.set(passwordHealthOldAfterDays, Value::integer(365));
    d.set(clearClipboardAfter, Value::integer(0));
    d.set(lockDocumentsWhenSessionLocks, Value::boolean(false));
    d.set(updateCheckEnabled, Value::boolean(true));
    return d;
}
}  // namespace prefs

}  // namespace qv
