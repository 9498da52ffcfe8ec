#include "ValueCopier.h"

#include "document/DocumentKeys.h"
#include "shell/PreferenceKeys.h"

namespace qv {

ValueCopier::ValueCopier(DocumentBrowser& browser, Pasteboard& pasteboard, const UserDefaults& defaults,
                         ZKUrlResolutor& resolutor, PushAndPull& pushAndPull)
    : browser_(browser), pasteboard_(pasteboard), defaults_(defaults), resolutor_(resolutor), pushAndPull_(pushAndPull) {}

QString ValueCopier::noticeText(int tag) {
    static const char* texts[] = {"category", "name", "url", "account", "user id", "password", "pin", "security",
                                  "email", "note"};
    return tag >= 0 && tag <= 9 ? QLatin1String(texts[tag]) : QString();
}

namespace {
// The value of a key of the selection, as the list's "selection." key paths read it.
std::optional<QString> selectionValue(DocumentBrowser& b, const QString& key) {
    const Array selected = b.myArrayController().selectedObjects();
    if (selected.isEmpty()) return std::nullopt;
    const Value v = selected.at(0).toDictionary().value(key);
    if (v.isAbsent()) return std::nullopt;
    return v.toString();
}
}  // namespace

// A locked document, or one whose lock is decided, gives nothing away: its records are still in
// memory, but no value of them may reach the clipboard or a browser any more.
bool ValueCopier::documentIsClosedToCopies() const {
    const MyDocument& doc = browser_.document();
    return doc.isEncrypted() || doc.isLockPending();
}

void ValueCopier::copy(const QString& key, int tag, bool secret) {
    if (documentIsClosedToCopies()) return;
    increaseUsageOfRow();
    std::optional<QString> value;
    if (secret && !browser_.showClearPassword && ui_)
        value = ui_->secureFieldText(key);  // what the hidden field holds now
    else
        value = selectionValue(browser_, key);
    // An absent value leaves the clipboard emptied.
    pasteboard_.setString(value.value_or(QString()));
    if (tag >= 0) doNotifyValueWasCopied(tag);
}

// "category" is no key of a record: this command delivers no text, as it always did.
void ValueCopier::copyCategory(const Sender&) { copy(QStringLiteral("category"), -1); }
void ValueCopier::copyName(const Sender&) { copy(keys::name, 1); }
void ValueCopier::copyUrl(const Sender&) { copy(keys::url, 2); }
void ValueCopier::copyAccount(const Sender&) { copy(keys::account, 3); }
void ValueCopier::copyUserID(const Sender&) { copy(keys::userID, 4); }
void ValueCopier::copyPassword(const Sender&) { copy(keys::password, 5, true); }
void ValueCopier::copyPin(const Sender&) { copy(keys::pin, 6, true); }
void ValueCopier::copySecurity(const Sender&) { copy(keys::security, 7, true); }
void ValueCopier::copyEmail(const Sender&) { copy(keys::email, 8); }
void ValueCopier::copyNote(const Sender&) { copy(keys::note, -1); }

void ValueCopier::increaseUsageOfRow(const Sender&) {
    // A count of visits: once per selection, however many values are copied.
    if (browser_.usageCountDirtyFlag) return;
    const Array selected = browser_.myArrayController().selectedObjects();
    if (selected.isEmpty()) return;
    Dictionary record = selected.at(selected.count() - 1).toDictionary();
    record.set(keys::usageCount, Value::integer(record.value(keys::usageCount).toInt64() + 1));
    browser_.usageCountDirtyFlag = true;
    if (RecordBrowserUi* ui = browser_.ui()) ui->recordValuesChanged();
}

void ValueCopier::doNotifyValueWasCopied(int tag) {
    if (!defaults_.boolForKey(prefs::useHudNotifyForCopy) || tag > 9 || tag < 0) return;
    std::int64_t tenths = defaults_.integerForKey(prefs::notifyHudTimer);
    tenths = tenths < 3 ? 3 : tenths > 30 ? 30 : tenths;
    if (ui_) ui_->openHud(QStringLiteral("%1 copied").arg(noticeText(tag)), double(tenths) / 10.0);
}

void ValueCopier::textCopiedInClipboard(const QString& text, int tag) {
    if (documentIsClosedToCopies()) return;
    pasteboard_.setString(text);
    increaseUsageOfRow();
    doNotifyValueWasCopied(tag);
}

void ValueCopier::openUrl(const Sender&) {
    if (documentIsClosedToCopies()) return;
    increaseUsageOfRow();
    auto user = selectionValue(browser_, keys::userID);
    if (!user || user->isEmpty()) user = selectionValue(browser_, keys::account);
    resolutor_.openUrl(selectionValue(browser_, keys::url), user, selectionValue(browser_, keys::password));
}

void ValueCopier::pushAndPull(const Sender& sender) {
    if (documentIsClosedToCopies()) return;
    const auto user = selectionValue(browser_, keys::userID);
    if (user && !trimSpaces(*user).isEmpty()) {
        pushAndPull_.startPullPasswordPhase(selectionValue(browser_, keys::password));
        copyUserID();
        openUrl(sender);
        return;
    }
    DocumentWindowUi* ui = browser_.document().ui();
    if (!ui) return;
    ui->beginSheet(Alert{QStringLiteral("User ID empty. Do you want to use the User Account field?"),
                         QStringLiteral("Quorvane usually needs to copy from your User ID field the string to use as login"),
                         {QStringLiteral("OK"), QStringLiteral("Cancel")}},
                   [this, sender](int code) {
                       if (code != kAlertFirstButtonReturn || documentIsClosedToCopies()) return;
                       pushAndPull_.startPullPasswordPhase(selectionValue(browser_, keys::password));
                       copyAccount();
                       openUrl(sender);
                   });
}

}  // namespace qv
