#include "ZKCrypto.h"

#include "SecretMemory.h"

#include "foundation/MacRoman.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

namespace qv {

namespace {

// Blowfish lives in OpenSSL's legacy provider. Loading one provider explicitly turns off the
// implicit default one, so both are loaded, once for the process.
struct Providers {
    OSSL_PROVIDER* legacy = nullptr;
    OSSL_PROVIDER* deflt = nullptr;
    const EVP_CIPHER* cipher = nullptr;
    QString error;
    Providers() {
        legacy = OSSL_PROVIDER_load(nullptr, "legacy");
        deflt = OSSL_PROVIDER_load(nullptr, "default");
        if (!legacy) {
            error = QStringLiteral("OpenSSL's legacy provider, which holds the Blowfish cipher of documents older than "
                                   "release 3.0, could not be loaded.");
            ERR_clear_error();
            return;
        }
        cipher = EVP_bf_cbc();
    }
};

const Providers& providers() {
    static const Providers p;
    return p;
}

struct CtxFree {
    void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};

}  // namespace

ZKCrypto::ZKCrypto(const unsigned char* vector, const QString& password) : myPassword(password) {
    setInitVector(vector);
}

ZKCrypto::~ZKCrypto() { secrets::wipe(myPassword); }

void ZKCrypto::setPassword(const QString& password) {
    QString next = password;  // taken first: it may be the very one being replaced
    secrets::wipe(myPassword);
    myPassword = std::move(next);
}

void ZKCrypto::setInitVector(const unsigned char* vector) {
    if (vector) myIV = QByteArray(reinterpret_cast<const char*>(vector), kIVLength);
    else myIV.reset();
}

QString ZKCrypto::availabilityError() { return providers().error; }

// The password's Mac OS Roman bytes, as many as the password has UTF-16 units, in a zeroed
// buffer of at least the 16 bytes that the key schedule reads.
std::optional<QByteArray> ZKCrypto::keyBuffer() const {
    auto bytes = MacRoman::encode(myPassword);
    if (!bytes) return std::nullopt;
    const secrets::WipeOnExit wipeBytes(*bytes);
    const qsizetype n = myPassword.size();
    QByteArray key(std::max<qsizetype>(n, kEffectiveKeyLength), '\0');
    std::memcpy(key.data(), bytes->constData(), size_t(std::min(n, bytes->size())));
    return key;
}

Result<QByteArray, std::int32_t> ZKCrypto::decryptCore(const QByteArray& data) const {
    using Deciphered = Result<QByteArray, std::int32_t>;
    if (data.size() < 1) return QByteArray();
    if (data.size() > INT_MAX - kBlockSize)
        return Deciphered::failed(kUpdateFailed, QStringLiteral("The field is too large to decipher."));
    auto key = keyBuffer();
    QByteArray wiped;
    const secrets::WipeOnExit wipeKey(key ? *key : wiped);
    const Providers& p = providers();
    if (!p.cipher)
        return Deciphered::failed(kUpdateFailed,
                                  p.error.isEmpty() ? QStringLiteral("The Blowfish cipher is not available.") : p.error);
    if (!key)
        return Deciphered::failed(kUpdateFailed,
                                  QStringLiteral("The password has a character that Mac OS Roman can't hold."));
    const auto failed = [](std::int32_t code) {
        return Deciphered::failed(code, code == kFinalFailed
                                            ? QStringLiteral("The field could not be deciphered: the password is "
                                                             "wrong or the field is damaged.")
                                            : QStringLiteral("The field could not be deciphered."));
    };
    unsigned char iv[kIVLength] = {};
    if (myIV) std::memcpy(iv, myIV->constData(), kIVLength);

    std::unique_ptr<EVP_CIPHER_CTX, CtxFree> ctx(EVP_CIPHER_CTX_new());
    if (!ctx) return failed(kUpdateFailed);
    // The cipher's default key length, 16, decides the key schedule at this moment. The old
    // engine set the password's own length only afterwards, which changed nothing; OpenSSL 3
    // would refuse the next step after such a call, so it is not made.
    if (EVP_DecryptInit_ex(ctx.get(), p.cipher, nullptr, reinterpret_cast<const unsigned char*>(key->constData()), iv) != 1)
        return failed(kUpdateFailed);
    EVP_CIPHER_CTX_set_padding(ctx.get(), 1);

    QByteArray out(data.size() + kBlockSize, '\0');
    int written = 0, last = 0;
    if (EVP_DecryptUpdate(ctx.get(), reinterpret_cast<unsigned char*>(out.data()), &written,
                          reinterpret_cast<const unsigned char*>(data.constData()), int(data.size())) != 1) {
        ERR_clear_error();
        secrets::wipe(out);
        return failed(kUpdateFailed);
    }
    if (EVP_DecryptFinal_ex(ctx.get(), reinterpret_cast<unsigned char*>(out.data()) + written, &last) != 1) {
        ERR_clear_error();
        secrets::wipe(out);  // all but the last block was plain text already
        return failed(kFinalFailed);
    }
    out.truncate(written + last);
    return out;
}

std::optional<QByteArray> ZKCrypto::encryptCore(const QByteArray& plain) const {
    if (plain.size() < 1) return QByteArray();
    if (plain.size() > INT_MAX - kBlockSize) return std::nullopt;
    auto key = keyBuffer();
    QByteArray wiped;
    const secrets::WipeOnExit wipeKey(key ? *key : wiped);
    const Providers& p = providers();
    if (!key || !p.cipher) return std::nullopt;
    unsigned char iv[kIVLength] = {};
    if (myIV) std::memcpy(iv, myIV->constData(), kIVLength);
    std::unique_ptr<EVP_CIPHER_CTX, CtxFree> ctx(EVP_CIPHER_CTX_new());
    if (!ctx) return std::nullopt;
    if (EVP_EncryptInit_ex(ctx.get(), p.cipher, nullptr, reinterpret_cast<const unsigned char*>(key->constData()), iv) != 1)
        return std::nullopt;
    EVP_CIPHER_CTX_set_padding(ctx.get(), 1);
    QByteArray out(plain.size() + kBlockSize, '\0');
    int written = 0, last = 0;
    if (EVP_EncryptUpdate(ctx.get(), reinterpret_cast<unsigned char*>(out.data()), &written,
                          reinterpret_cast<const unsigned char*>(plain.constData()), int(plain.size())) != 1 ||
        EVP_EncryptFinal_ex(ctx.get(), reinterpret_cast<unsigned char*>(out.data()) + written, &last) != 1) {
        ERR_clear_error();
        return std::nullopt;
    }
    out.truncate(written + last);
    return out;
}

std::optional<QByteArray> ZKCrypto::cryptString(const QString& string) const {
    if (!isReady()) return std::nullopt;
    const auto bytes = MacRoman::encode(string);
    if (!bytes) return std::nullopt;
    return encryptCore(bytes->left(string.size()));
}

std::optional<QByteArray> ZKCrypto::cryptData(const QByteArray& data) const {
    if (!isReady()) return std::nullopt;
    return encryptCore(data);
}

std::optional<QByteArray> ZKCrypto::cryptLong(std::int64_t value) const {
    if (!isReady()) return std::nullopt;
    QByteArray plain(8, '\0');
    for (int i = 0; i < 8; ++i) plain[i] = char((std::uint64_t(value) >> (8 * i)) & 0xFF);
    return encryptCore(plain);
}

std::optional<QByteArray> ZKCrypto::cryptLongToInt32(std::int64_t value) const {
    if (!isReady()) return std::nullopt;
    QByteArray plain(4, '\0');
    for (int i = 0; i < 4; ++i) plain[i] = char((std::uint64_t(value) >> (8 * i)) & 0xFF);
    return encryptCore(plain);
}

Result<QString, std::int32_t> ZKCrypto::decryptToString(const QByteArray& data) const {
    auto plain = decryptCore(data);
    if (!plain) return plain.failure();
    return MacRoman::decode(*plain).value_or(QString());
}

Result<QByteArray, std::int32_t> ZKCrypto::decryptToData(const QByteArray& data) const { return decryptCore(data); }

Result<std::int64_t, std::int32_t> ZKCrypto::decryptToLong(const QByteArray& data) const {
    const auto plain = decryptCore(data);
    if (!plain) return plain.failure();
    const auto byte = [&](int i) { return std::uint64_t(static_cast<unsigned char>(plain->at(i))); };
    if (plain->size() == 4) {
        const std::uint32_t v = std::uint32_t(byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24);
        return std::int64_t(std::int32_t(v));
    }
    std::uint64_t v = 0;
    for (int i = 0; i < std::min<int>(8, int(plain->size())); ++i) v |= byte(i) << (8 * i);
    return std::int64_t(v);
}

}  // namespace qv
