#pragma once

// The base of every enciphered document: the password strings the sheets collect, the locked
// state, the dirty mark, and the three hooks through which a password attempt drives any
// document. The base hooks do nothing and answer 1.

#include <QString>

#include <cstdint>

namespace qv {

class ZKCryptoDoc {
public:
    // Values of updateChangeCount.
    static constexpr int kChangeDone = 0;
    static constexpr int kChangeCleared = 2;

    virtual ~ZKCryptoDoc() = default;

    bool isEncrypted() const { return isEncrypted_; }
    bool isDecrypted() const { return !isEncrypted_; }
    virtual void setIsEncrypted(bool encrypted) { isEncrypted_ = encrypted; }

    QString plainPassword;
    QString plainPasswordInserted;
    QString plainPasswordInsertedRetype;
    QString plainPasswordPrevious;

    virtual std::int32_t Decript() { return 1; }
    virtual std::int32_t decryptDone() { return 1; }
    virtual std::int32_t decryptFailed() { return 1; }

    virtual void updateChangeCount(int change);
    bool isDocumentEdited() const { return edited_; }

private:
    bool isEncrypted_ = false;
    bool edited_ = false;
};

}  // namespace qv
