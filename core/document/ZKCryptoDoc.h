#pragma once

// The base of every enciphered document. It owns what the user sees of the master password:
// submitting a password to open, the change sheet, the insert sheet, the mandatory sheet of a
// new document, their rules and messages, and closing without a question while locked. How the
// data are deciphered is the subclass's part, through three hooks whose base versions do
// nothing and answer 1.

#include "document/DocumentWindowUi.h"
#include "foundation/Sender.h"
#include "foundation/Value.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace qv {

class ZKCryptoDoc {
public:
    // Values of updateChangeCount.
    static constexpr int kChangeDone = 0;
    static constexpr int kChangeCleared = 2;

    virtual ~ZKCryptoDoc() = default;

    // The document's window; none for headless use.
    void setUi(DocumentWindowUi* ui) { ui_ = ui; }
    DocumentWindowUi* ui() const { return ui_; }
    // How a step is put on the main queue, to run after the current sheet has gone. Run at
    // once when unset, as headless use has no event loop.
    std::function<void(std::function<void()>)> postToMainQueue;
    // How the long pure steps (key derivation, deciphering, archiving, enciphering) are run: the
    // window runs `work` on a worker and returns when it has ended, its event loop turning
    // meanwhile. Run at once on this thread when unset, as the command line and headless use do.
    std::function<void(const std::function<void()>& work)> runOffThread;
    // While such a step runs, the document takes no command and no edit: the worker reads and
    // writes its tables and members. A lock decided meanwhile waits for the step to end.
    bool isBusy() const { return busy_ > 0; }
    // Keeps the document busy, as such a step does, for as long as it lives: for work that runs
    // on this thread in slices with the event loop turning between them (a large import taking
    // its records in). A lock decided meanwhile waits until the last hold has gone.
    class BusyHold {
    public:
        explicit BusyHold(ZKCryptoDoc& doc) : doc_(doc) { ++doc_.busy_; }
        ~BusyHold();
        BusyHold(const BusyHold&) = delete;
        BusyHold& operator=(const BusyHold&) = delete;

    private:
        ZKCryptoDoc& doc_;
    };

    bool isEncrypted() const { return isEncrypted_; }
    bool isDecrypted() const { return !isEncrypted_; }
    virtual void setIsEncrypted(bool encrypted) { isEncrypted_ = encrypted; }

    QString plainPassword;
    QString plainPasswordInserted;
    QString plainPasswordInsertedRetype;
    QString plainPasswordPrevious;
    Value showClearPasswordInInsertPasswordSheet;  // a boolean, absent at first
    int sheetWasConfirmed = 0;

    virtual std::int32_t Decript() { return 1; }
    virtual std::int32_t decryptDone() { return 1; }
    virtual std::int32_t decryptFailed() { return 1; }

    virtual void updateChangeCount(int change);
    bool isDocumentEdited() const { return edited_; }
    // Told whenever the dirty mark is set or cleared (the window's title, autosaving).
    std::function<void(bool edited)> onEditedChanged;

    // A new password needs more than five UTF-16 units.
    static bool isLongEnough(const QString& password) { return password.size() > 5; }

    void submitPasswordToDecrypt(const Sender& sender);
    void documentPassword(const Sender& sender = {});
    void showChangePasswordSheet();
    void confirmChangePasswordSheet();
    void showInsertPasswordSheet();
    void askMandatoryPasswordToProtectDocument();

    void passwordMustMatch();
    void passwordNotEqualSheet();
    void passwordMustBe6CharLong();
    void mandatoryPasswordNonEqual();
    void mandatoryPasswordMustBe6CharLong();

    // For the six commands that need the content (save, save as, password, revert, page set-up,
    // print): whether they are enabled; nullopt for any other action.
    static bool isContentCommand(const QString& action);
    std::optional<bool> validateUserInterfaceItem(const QString& action) const;
    // True when the document may close at once, with no question about saving.
    bool closesWithoutAsking() const { return isEncrypted_; }

    // Runs `work` through runOffThread, the document busy until it has ended; what `work` threw
    // is thrown here, on the caller's thread. Inside such a work, nested calls run in place.
    void runHeavy(const std::function<void()>& work);

protected:
    void post(std::function<void()> step);
    // `step` from the main queue once the document is no longer busy (at once when it is not).
    void whenIdle(std::function<void()> step);
    void sheetAlert(const Alert& alert, std::function<void(int)> done = nullptr);

private:
    void retryChange(int code);
    bool isEncrypted_ = false;
    bool edited_ = false;
    int busy_ = 0;
    std::vector<std::function<void()>> whenIdle_;
    DocumentWindowUi* ui_ = nullptr;
};

}  // namespace qv
