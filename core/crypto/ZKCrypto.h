#pragma once

// The cipher of documents written before generation 30000: every field enciphered by itself with
// Blowfish in CBC mode, PKCS#5 padding, a fixed vector and a key made of the password's
// Mac OS Roman bytes. Only decryption is used by the program; the encrypt operations stay so
// that old files can be made for tests and tools.
//
// The effective key is always 16 bytes: longer passwords count with their first 16 bytes,
// shorter ones are completed with zero bytes. Files were written that way and must keep opening.

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

namespace qv {

class ZKCrypto {
public:
    static constexpr int kBlockSize = 8;
    static constexpr int kIVLength = 8;
    static constexpr int kEffectiveKeyLength = 16;

    // Decrypt codes: the kind of a failed decryption. kSuccess is never one.
    static constexpr std::int32_t kSuccess = 0;
    static constexpr std::int32_t kUpdateFailed = 1;
    static constexpr std::int32_t kFinalFailed = 2;

    ZKCrypto() = default;  // init: no vector, password ""
    ZKCrypto(const unsigned char* vector, const QString& password);  // initWithVector:password:
    ~ZKCrypto();  // the password is wiped
    ZKCrypto(const ZKCrypto&) = default;
    ZKCrypto& operator=(const ZKCrypto&) = default;

    void setInitVector(const unsigned char* vector);  // 8 bytes copied; nullptr clears
    void setPassword(const QString& password);
    const QString& password() const { return myPassword; }
    const std::optional<QByteArray>& IV() const { return myIV; }
    bool isReady() const { return !myPassword.isEmpty() && myIV.has_value(); }

    // Nothing when not ready, or when the password or the text has a character that
    // Mac OS Roman can't hold.
    std::optional<QByteArray> cryptString(const QString& string) const;
    std::optional<QByteArray> cryptData(const QByteArray& data) const;
    std::optional<QByteArray> cryptLong(std::int64_t value) const;
    std::optional<QByteArray> cryptLongToInt32(std::int64_t value) const;

    // An empty input succeeds with an empty result. A failure's kind is kUpdateFailed when the
    // update step failed, kFinalFailed when the final step (the padding) failed. A password that
    // Mac OS Roman can't hold, or a missing Blowfish implementation, fails as the update step.
    // Bytes that can't be decoded (only when ICU has no Mac OS Roman converter) read as an empty
    // string that still counts as deciphered, as they always did.
    Result<QString, std::int32_t> decryptToString(const QByteArray& data) const;
    Result<QByteArray, std::int32_t> decryptToData(const QByteArray& data) const;
    // Four plain bytes are a 32-bit number, sign-extended; otherwise up to eight bytes, little
    // endian. A failed decryption gives no number at all.
    Result<std::int64_t, std::int32_t> decryptToLong(const QByteArray& data) const;

    // Empty when Blowfish can be used; otherwise why not (OpenSSL's legacy provider missing).
    static QString availabilityError();

private:
    std::optional<QByteArray> keyBuffer() const;
    std::optional<QByteArray> encryptCore(const QByteArray& plain) const;
    Result<QByteArray, std::int32_t> decryptCore(const QByteArray& data) const;

    std::optional<QByteArray> myIV;
    QString myPassword;
};

}  // namespace qv
