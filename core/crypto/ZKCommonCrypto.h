#pragma once

// The cipher engine of every current document: AES-256 in CBC mode with PKCS#7 padding, the key
// derived from the master password by PBKDF2-HMAC-SHA1 with 10000 rounds and an 8-byte salt.
// It knows nothing of files; it takes bytes and gives bytes, or a failure whose kind is the status
// of the platform cipher service the format was made with (negative codes), so that callers and
// files see the same numbers. Password, key and the working copies of both are wiped when they
// are replaced or dropped.

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

namespace qv {

class ZKCommonCrypto {
public:
    static constexpr int kKeyLength = 32;
    static constexpr int kBlockSize = 16;
    static constexpr int kIVLength = 16;
    static constexpr int kSaltLength = 8;
    static constexpr int kRounds = 10000;
    static constexpr std::uint32_t kContextEncrypt = 0;
    static constexpr std::uint32_t kContextDecrypt = 1;
    static constexpr std::uint32_t kPaddingPKCS7 = 1;
    static constexpr std::uint32_t kPaddingECBNone = 2;

    // Statuses of the cipher service. kSuccess is never the kind of a failure.
    static constexpr std::int32_t kSuccess = 0;
    static constexpr std::int32_t kParamError = -4300;
    static constexpr std::int32_t kBufferTooSmall = -4301;
    static constexpr std::int32_t kMemoryFailure = -4302;
    static constexpr std::int32_t kAlignmentError = -4303;
    static constexpr std::int32_t kDecodeError = -4304;

    // The bytes a cipher call gives, or the status it failed with and a short sentence.
    using Outcome = Result<QByteArray, std::int32_t>;
    // The sentence that goes with a failing status.
    static QString statusMessage(std::int32_t status);

    // Class operations.
    static QString generateRandom256AsciiString();
    static std::optional<QByteArray> randomDataOfLength(std::uint64_t length);
    // The key from the UTF-8 form of the password, cut at its count of UTF-16 units: for a
    // password beyond ASCII the last UTF-8 bytes do not count. Files were written so, and must
    // keep opening.
    static QByteArray AESKeyForPassword(const QString& password, const QByteArray& salt);
    static std::optional<QByteArray> dataSHA1(const QByteArray& data);

    // init / initWithPassword:: fresh IV, salt and key.
    ZKCommonCrypto();
    explicit ZKCommonCrypto(const QString& password);
    // The password and the derived key are wiped.
    ~ZKCommonCrypto();
    ZKCommonCrypto(const ZKCommonCrypto&) = delete;
    ZKCommonCrypto& operator=(const ZKCommonCrypto&) = delete;
    static std::unique_ptr<ZKCommonCrypto> initWithPassword(const QString& password) {
        return std::make_unique<ZKCommonCrypto>(password);
    }

    const QString& password() const { return password_; }
    void setPassword(const QString& p);
    const QByteArray& salt() const { return salt_; }
    void setSalt(const QByteArray& s) {
        salt_ = s;
        keyIsDerived_ = false;
    }
    const QByteArray& AESKey() const { return AESKey_; }
    void setAESKey(const QByteArray& k);
    const QByteArray& IV() const { return IV_; }
    void setIV(const QByteArray& iv) { IV_ = iv; }

    void recalcIV_Salt_AESKey();
    void setPasswordToEncrypt(const QString& password);
    // Sets password, IV and salt only; the key is derived by the next cipher call.
    void setPasswordToDecrypt(const QString& password, const QByteArray& iv, const QByteArray& salt);

    // The core. `key` is ignored: the key is the one derived from password and salt. It is
    // derived again only after one of them (or the key itself) was set, so that a save or an
    // open of several members costs one derivation instead of one per member. `padding` is read,
    // and when enciphering set to the padding used (PKCS#7 unless ECB without padding was asked).
    Outcome doCipher(const QByteArray& data, const QByteArray& key, std::uint32_t context, std::uint32_t* padding);
    Outcome encrypt(const QByteArray& data);
    // The same, overwriting `plain` with the cipher text (wiped if the call fails); for the
    // large archives of a save, which then need no second buffer.
    Outcome encryptInPlace(QByteArray&& plain);
    Outcome decrypt(const QByteArray& data);
    // The same, writing the plain text over `cipherText`, whose buffer the result takes over; for
    // the large members of an open. A cipher text that is not whole blocks or whose padding is
    // wrong, which is all a decryption can fail on, is found so before anything is written, and
    // `cipherText` is then left as it was. (Should the cipher library itself fail half-way, it is
    // wiped like any partial output.)
    Outcome decryptInPlace(QByteArray& cipherText);
    Outcome encrypt(const QByteArray& data, const QByteArray& key, std::uint32_t* padding);
    Outcome decrypt(const QByteArray& data, const QByteArray& key, std::uint32_t* padding);

private:
    // With `consumed` (the very buffer `data` refers to), the output takes it over and is written
    // over the input. Deciphering so first makes sure it will succeed (see decryptInPlace).
    Outcome cipher(const QByteArray& data, QByteArray* consumed, std::uint32_t context, std::uint32_t* padding);
    void freshParameters();
    QString password_;
    QByteArray salt_;
    QByteArray AESKey_;
    QByteArray IV_;
    // Whether AESKey_ is the one derived from the present password and salt.
    bool keyIsDerived_ = false;
};

}  // namespace qv
