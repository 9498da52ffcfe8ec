#pragma once

// The cipher of documents written before generation 30000: every field enciphered by itself with
// Blowfish in CBC mode, PKCS#5 padding, a fixed vector and a key made of the password's
// Mac OS Roman bytes. Only decryption is used by the program; the encrypt operations stay so
// that old files can be made for tests and tools.
//
// The effective key is always 16 bytes: longer passwords count with their first 16 bytes,
// shorter ones are completed with zero bytes. Files were written that way and must keep opening.

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

    // Decrypt codes.
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

    // The code is 0 on success (an empty input included, with an empty result), 1 when the
    // update step failed, 2 when the final step (the padding) failed. A password that Mac OS Roman
    // can't hold, or a missing Blowfish implementation, fails as the update step.
    std::optional<QString> decryptToString(const QByteArray& data, std::int32_t* errorCode) const;
    std::optional<QByteArray> decryptToData(const QByteArray& data, std::int32_t* errorCode) const;
    // Meaningless unless the code is 0: the caller takes the code first.
    std::int64_t decryptToLong(const QByteArray& data, std::int32_t* errorCode) const;

    // Empty when Blowfish can be used; otherwise why not (OpenSSL's legacy provider missing).
    static QString availabilityError();

private:
    std::optional<QByteArray> keyBuffer() const;
    std::optional<QByteArray> encryptCore(const QByteArray& plain) const;
    std::optional<QByteArray> decryptCore(const QByteArray& data, std::int32_t* errorCode) const;

    std::optional<QByteArray> myIV;
    QString myPassword;
};

}  // namespace qv
