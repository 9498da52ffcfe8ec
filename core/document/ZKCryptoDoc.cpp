#include "ZKCryptoDoc.h"

#include "PasswordTexts.h"
#include "crypto/SecretMemory.h"

#include <exception>
#include <utility>

namespace qv {

void ZKCryptoDoc::updateChangeCount(int change) {
    const bool before = edited_;
    if (change == kChangeDone) edited_ = true;
    else if (change == kChangeCleared) edited_ = false;
    if (onEditedChanged && (edited_ || before != edited_)) onEditedChanged(edited_);
}

void ZKCryptoDoc::post(std::function<void()> step) {
    if (postToMainQueue) postToMainQueue(std::move(step));
    else step();
}

namespace {
// Set on the thread that runs a heavy step, so that a step inside it (a save's enciphering of the
// tables) runs in place instead of asking for another worker.
thread_local bool insideHeavyWork = false;
}  // namespace

void ZKCryptoDoc::runHeavy(const std::function<void()>& work) {
    if (insideHeavyWork || !runOffThread) {
        work();
        return;
    }
    std::exception_ptr thrown;
    // The document is busy until the work has ended, whatever the runner itself throws.
    {
        const BusyHold busy(*this);
        runOffThread([&work, &thrown] {
            insideHeavyWork = true;
            try {
                work();
            } catch (...) {
                // Nothing may leave the worker: the failure (out of memory, mostly) is the caller's.
                thrown = std::current_exception();
            }
            insideHeavyWork = false;
        });
    }
    if (thrown) std::rethrow_exception(thrown);
}

ZKCryptoDoc::BusyHold::~BusyHold() {
    if (--doc_.busy_ == 0 && !doc_.whenIdle_.empty())
        for (auto& step : std::exchange(doc_.whenIdle_, {})) doc_.post(std::move(step));
}

void ZKCryptoDoc::whenIdle(std::function<void()> step) {
    if (busy_ > 0) whenIdle_.push_back(std::move(step));
    else post(std::move(step));
}

void ZKCryptoDoc::sheetAlert(const Alert& alert, std::function<void(int)> done) {
    if (!ui_) return;
    ui_->beginSheet(alert, [done](int code) {
        if (done) done(code);
    });
}

void ZKCryptoDoc::submitPasswordToDecrypt(const Sender& sender) {
    if (busy_ > 0) return;  // Return pressed again while the last attempt is still deciphering
    plainPasswordInserted = sender.stringValue;
    if (plainPasswordInserted.isEmpty()) return;
    secrets::wipe(plainPassword);  // the last attempt, or the password being replaced
    plainPassword = plainPasswordInserted;
    if (ui_) ui_->setDecryptProgressAnimating(true);
    std::int32_t status = 0;
    try {
        status = Decript();
    } catch (...) {
        // Out of memory on a very large file: the attempt ends, and so does the progress bar.
        if (ui_) ui_->setDecryptProgressAnimating(false);
        throw;
    }
    if (status != 0) {
        decryptFailed();
        if (ui_) ui_->setDecryptProgressAnimating(false);
        // The wrong password stays in plainPassword until the next attempt.
        sheetAlert(Alert{texts::wrongPassword, texts::wrongPasswordInformative, {texts::ok}});
    } else {
        decryptDone();
        if (ui_) ui_->setDecryptProgressAnimating(false);
        secrets::wipe(plainPasswordInserted);
        secrets::wipe(plainPasswordInsertedRetype);
        secrets::wipe(plainPasswordPrevious);
    }
    updateChangeCount(kChangeCleared);
}

void ZKCryptoDoc::documentPassword(const Sender&) {
    if (plainPassword.isEmpty()) {
        askMandatoryPasswordToProtectDocument();
        return;
    }
    showClearPasswordInInsertPasswordSheet = Value::boolean(false);
    secrets::wipe(plainPasswordPrevious);
    secrets::wipe(plainPasswordInserted);
    secrets::wipe(plainPasswordInsertedRetype);
    showChangePasswordSheet();
}

void ZKCryptoDoc::showChangePasswordSheet() {
    if (!ui_) return;
    ui_->showPasswordSheet(DocumentWindowUi::PasswordSheet::Change, [this](int code) {
        showClearPasswordInInsertPasswordSheet = Value::boolean(false);
        if (code == kAlertFirstButtonReturn) confirmChangePasswordSheet();
    });
}

void ZKCryptoDoc::confirmChangePasswordSheet() {
    // The first failed check speaks: old password, then the match, then the length.
    if (plainPasswordPrevious != plainPassword) return passwordMustMatch();
    if (plainPasswordInserted != plainPasswordInsertedRetype) return passwordNotEqualSheet();
    if (!isLongEnough(plainPasswordInserted)) return passwordMustBe6CharLong();
    secrets::wipe(plainPassword);  // the last attempt, or the password being replaced
    plainPassword = plainPasswordInserted;
    secrets::wipe(plainPasswordInserted);
    secrets::wipe(plainPasswordInsertedRetype);
    secrets::wipe(plainPasswordPrevious);
    updateChangeCount(kChangeDone);
    sheetAlert(Alert{texts::passwordChangedMessage, texts::passwordChangedInformative, {texts::ok}});
    updateChangeCount(kChangeDone);
}

void ZKCryptoDoc::showInsertPasswordSheet() {
    if (!ui_) return;
    ui_->showPasswordSheet(DocumentWindowUi::PasswordSheet::Insert, [this](int code) {
        sheetWasConfirmed = code == kAlertFirstButtonReturn ? 1 : 0;
        showClearPasswordInInsertPasswordSheet = Value::boolean(true);
        if (sheetWasConfirmed == 0) return;
        if (plainPasswordInserted != plainPasswordInsertedRetype) return passwordNotEqualSheet();
        if (!isLongEnough(plainPasswordInserted)) return passwordMustBe6CharLong();
        secrets::wipe(plainPassword);  // the last attempt, or the password being replaced
        plainPassword = plainPasswordInserted;
        secrets::wipe(plainPasswordInserted);
        secrets::wipe(plainPasswordInsertedRetype);
        updateChangeCount(kChangeDone);
        sheetAlert(Alert{texts::passwordAcceptedMessage, texts::passwordAcceptedInsertInformative, {texts::ok}});
    });
}

void ZKCryptoDoc::askMandatoryPasswordToProtectDocument() {
    if (!ui_) return;
    ui_->showPasswordSheet(DocumentWindowUi::PasswordSheet::Mandatory, [this](int code) {
        showClearPasswordInInsertPasswordSheet = Value::boolean(true);
        if (code != kAlertFirstButtonReturn) {
            // A new document without a password never reaches the disk.
            DocumentWindowUi* ui = ui_;
            post([ui] { ui->closeDocument(); });
            return;
        }
        if (plainPasswordInserted != plainPasswordInsertedRetype) return mandatoryPasswordNonEqual();
        if (!isLongEnough(plainPasswordInserted)) return mandatoryPasswordMustBe6CharLong();
        secrets::wipe(plainPassword);  // the last attempt, or the password being replaced
        plainPassword = plainPasswordInserted;
        secrets::wipe(plainPasswordInserted);
        secrets::wipe(plainPasswordInsertedRetype);
        updateChangeCount(kChangeDone);
        sheetAlert(Alert{texts::passwordAcceptedMessage, texts::passwordAcceptedMandatoryInformative, {texts::ok}});
        updateChangeCount(kChangeDone);
    });
}

// "Retry" reopens the change sheet from the main queue, once the alert's sheet has gone; the
// insert sheet's refusals reopen the change sheet too, as they always did.
void ZKCryptoDoc::retryChange(int code) {
    if (code == kAlertFirstButtonReturn) post([this] { showChangePasswordSheet(); });
}

void ZKCryptoDoc::passwordMustMatch() {
    sheetAlert(Alert{texts::passwordMustMatchMessage, texts::noChangesApplied, {texts::retry, texts::cancel}},
               [this](int code) { retryChange(code); });
}

void ZKCryptoDoc::passwordNotEqualSheet() {
    sheetAlert(Alert{texts::passwordNotEqualMessage, texts::passwordNotEqualInformative, {texts::retry, texts::cancel}},
               [this](int code) { retryChange(code); });
}

void ZKCryptoDoc::passwordMustBe6CharLong() {
    sheetAlert(Alert{texts::passwordTooShortMessage, texts::noChangesApplied, {texts::retry, texts::cancel}},
               [this](int code) { retryChange(code); });
}

void ZKCryptoDoc::mandatoryPasswordNonEqual() {
    sheetAlert(Alert{texts::mandatoryNonEqualMessage, texts::mandatoryNonEqualInformative, {texts::retry}},
               [this](int) { post([this] { askMandatoryPasswordToProtectDocument(); }); });
}

void ZKCryptoDoc::mandatoryPasswordMustBe6CharLong() {
    sheetAlert(Alert{texts::mandatoryTooShortMessage, texts::mandatoryTooShortInformative, {texts::retry}},
               [this](int) { post([this] { askMandatoryPasswordToProtectDocument(); }); });
}

bool ZKCryptoDoc::isContentCommand(const QString& action) {
    static const QStringList commands{QStringLiteral("saveDocument:"),    QStringLiteral("saveDocumentAs:"),
                                      QStringLiteral("documentPassword:"), QStringLiteral("revertDocumentToSaved:"),
                                      QStringLiteral("runPageLayout:"),    QStringLiteral("printDocument:")};
    return commands.contains(action);
}

std::optional<bool> ZKCryptoDoc::validateUserInterfaceItem(const QString& action) const {
    if (isContentCommand(action)) return !isEncrypted_ && busy_ == 0;
    return std::nullopt;
}

}  // namespace qv
