#include "ZKCommonCrypto.h"

#include "SecretMemory.h"
#include "ZKRandom.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <climits>
#include <memory>

namespace qv {

QString ZKCommonCrypto::generateRandom256AsciiString() {
    // Codes 1 to 255 as the Latin-1 characters of those codes; the string is hashed and
    // enciphered in its UTF-8 form, so the mapping only has to stay the same between the two.
    QString s(256, Qt::Uninitialized);
    for (int i = 0; i < 256; ++i) s[i] = QChar(char16_t(ZKRandomInteger(1, 255)));
    return s;
}

std::optional<QByteArray> ZKCommonCrypto::randomDataOfLength(std::uint64_t length) {
    if (length > std::uint64_t(INT_MAX)) return std::nullopt;
    QByteArray out(qsizetype(length), '\0');
    if (length > 0 && RAND_bytes(reinterpret_cast<unsigned char*>(out.data()), int(length)) != 1) return std::nullopt;
    return out;
}

namespace {
// Fuzzing builds derive with one round, so that a whole document can be opened thousands of times
// a second; everything else about the derivation stays as it is. Never defined in a real build.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr int kRoundsUsed = 1;
#else
constexpr int kRoundsUsed = ZKCommonCrypto::kRounds;
#endif
}  // namespace

QByteArray ZKCommonCrypto::AESKeyForPassword(const QString& password, const QByteArray& salt) {
    QByteArray key(kKeyLength, '\0');
    QByteArray utf8 = password.toUtf8();
    const secrets::WipeOnExit wipeUtf8(utf8);
    const int length = int(std::min<qsizetype>(password.size(), utf8.size()));
    // The status is not looked at: the key is whatever the derivation left, as in every file
    // written so far.
    (void)PKCS5_PBKDF2_HMAC(utf8.constData(), length, reinterpret_cast<const unsigned char*>(salt.constData()),
                            int(salt.size()), kRoundsUsed, EVP_sha1(), kKeyLength,
                            reinterpret_cast<unsigned char*>(key.data()));
    return key;
}

std::optional<QByteArray> ZKCommonCrypto::dataSHA1(const QByteArray& data) {
    QByteArray digest(20, '\0');
    unsigned int length = 0;
    if (EVP_Digest(data.constData(), size_t(data.size()), reinterpret_cast<unsigned char*>(digest.data()), &length,
                   EVP_sha1(), nullptr) != 1 ||
        length != 20)
        return std::nullopt;
    return digest;
}

ZKCommonCrypto::ZKCommonCrypto() : ZKCommonCrypto(QString()) {}

ZKCommonCrypto::ZKCommonCrypto(const QString& password) : password_(password) { freshParameters(); }

ZKCommonCrypto::~ZKCommonCrypto() {
    secrets::wipe(password_);
    secrets::wipe(AESKey_);
}

// The new value is taken first: it may be the very one being replaced.
void ZKCommonCrypto::setPassword(const QString& p) {
    QString next = p;
    secrets::wipe(password_);
    password_ = std::move(next);
    keyIsDerived_ = false;
}

void ZKCommonCrypto::setAESKey(const QByteArray& k) {
    QByteArray next = k;
    secrets::wipe(AESKey_);
    AESKey_ = std::move(next);
    keyIsDerived_ = false;
}

void ZKCommonCrypto::freshParameters() {
    IV_ = randomDataOfLength(kIVLength).value_or(QByteArray());
    salt_ = randomDataOfLength(kSaltLength).value_or(QByteArray());
    setAESKey(AESKeyForPassword(password_, salt_));
    keyIsDerived_ = true;
}

void ZKCommonCrypto::recalcIV_Salt_AESKey() { freshParameters(); }

void ZKCommonCrypto::setPasswordToEncrypt(const QString& password) {
    setPassword(password);
    freshParameters();
}

void ZKCommonCrypto::setPasswordToDecrypt(const QString& password, const QByteArray& iv, const QByteArray& salt) {
    setPassword(password);
    IV_ = iv;
    salt_ = salt;
    keyIsDerived_ = false;
}

namespace {

struct CipherContextFree {
    void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};

// The local copies of key and vector are overwritten however the cipher call ends.
struct KeyMaterial {
    unsigned char key[ZKCommonCrypto::kKeyLength] = {};
    unsigned char iv[ZKCommonCrypto::kIVLength] = {};
    KeyMaterial() = default;
    KeyMaterial(const KeyMaterial&) = delete;
    KeyMaterial& operator=(const KeyMaterial&) = delete;
    ~KeyMaterial() { OPENSSL_cleanse(this, sizeof *this); }
};

}  // namespace

QString ZKCommonCrypto::statusMessage(std::int32_t status) {
    switch (status) {
    case kParamError:
        return QStringLiteral("The cipher was given data or settings it can't use.");
    case kBufferTooSmall:
        return QStringLiteral("The cipher's output did not fit its buffer.");
    case kMemoryFailure:
        return QStringLiteral("The cipher could not be set up.");
    case kAlignmentError:
        return QStringLiteral("The data is not a whole number of cipher blocks.");
    case kDecodeError:
        return QStringLiteral("The data could not be deciphered: the password is wrong or the data is damaged.");
    default:
        return QStringLiteral("The cipher failed with status %1.").arg(status);
    }
}

ZKCommonCrypto::Outcome ZKCommonCrypto::doCipher(const QByteArray& data, const QByteArray& /*key*/,
                                                 std::uint32_t context, std::uint32_t* padding) {
    return cipher(data, nullptr, context, padding);
}

ZKCommonCrypto::Outcome ZKCommonCrypto::encryptInPlace(QByteArray&& plain) {
    std::uint32_t padding = kPaddingPKCS7;
    return cipher(plain, &plain, kContextEncrypt, &padding);
}

ZKCommonCrypto::Outcome ZKCommonCrypto::decryptInPlace(QByteArray& cipherText) {
    std::uint32_t padding = kPaddingPKCS7;
    return cipher(cipherText, &cipherText, kContextDecrypt, &padding);
}

namespace {

// Whether deciphering `data` (CBC, PKCS#7) will succeed, found without writing anything: the
// input must be whole blocks, at least one, and its last block must decipher to valid padding.
// The statuses are those a decryption that went ahead would end with.
std::int32_t decryptionWillFail(const QByteArray& data, const unsigned char* key, const unsigned char* iv) {
    constexpr int b = ZKCommonCrypto::kBlockSize;
    if (data.size() % b != 0) return ZKCommonCrypto::kAlignmentError;
    if (data.isEmpty()) return ZKCommonCrypto::kDecodeError;
    const auto* last = reinterpret_cast<const unsigned char*>(data.constData()) + data.size() - b;
    const unsigned char* before = data.size() == b ? iv : last - b;
    std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree> ctx(EVP_CIPHER_CTX_new());
    unsigned char block[b];
    int written = 0;
    const bool ran = ctx && EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_ecb(), nullptr, key, nullptr) == 1 &&
                     EVP_CIPHER_CTX_set_padding(ctx.get(), 0) == 1 &&
                     EVP_DecryptUpdate(ctx.get(), block, &written, last, b) == 1 && written == b;
    std::int32_t status = ran ? ZKCommonCrypto::kSuccess : ZKCommonCrypto::kMemoryFailure;
    if (ran) {
        for (int i = 0; i < b; ++i) block[i] ^= before[i];
        const int n = block[b - 1];
        if (n == 0 || n > b) status = ZKCommonCrypto::kDecodeError;
        for (int i = b - n; status == ZKCommonCrypto::kSuccess && i < b; ++i)
            if (block[i] != n) status = ZKCommonCrypto::kDecodeError;
    }
    OPENSSL_cleanse(block, sizeof block);
    return status;
}

}  // namespace

ZKCommonCrypto::Outcome ZKCommonCrypto::cipher(const QByteArray& data, QByteArray* consumed, std::uint32_t context,
                                               std::uint32_t* padding) {
    const auto failed = [](std::int32_t status) { return Outcome::failed(status, statusMessage(status)); };
    if (!keyIsDerived_) {
        setAESKey(AESKeyForPassword(password_, salt_));
        keyIsDerived_ = true;
    }
    KeyMaterial m;
    unsigned char* const key = m.key;
    unsigned char* const iv = m.iv;
    std::copy_n(AESKey_.constData(), std::min<qsizetype>(AESKey_.size(), kKeyLength), key);
    std::copy_n(IV_.constData(), std::min<qsizetype>(IV_.size(), kIVLength), iv);

    std::uint32_t options;
    if (context == kContextEncrypt) {
        if (*padding != kPaddingECBNone) *padding = kPaddingPKCS7;
        options = *padding;
    } else {
        options = *padding;
    }
    const bool pkcs7 = (options & 1u) != 0;
    const bool ecb = (options & 2u) != 0;

    if (context != kContextEncrypt && context != kContextDecrypt) return failed(kParamError);
    std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree> ctx(EVP_CIPHER_CTX_new());
    if (!ctx || EVP_CipherInit_ex(ctx.get(), ecb ? EVP_aes_256_ecb() : EVP_aes_256_cbc(), nullptr, key,
                                  ecb ? nullptr : iv, context == kContextEncrypt ? 1 : 0) != 1)
        return failed(kMemoryFailure);
    EVP_CIPHER_CTX_set_padding(ctx.get(), pkcs7 ? 1 : 0);

    const qsizetype inLength = data.size();
    if (inLength > INT_MAX - 2 * kBlockSize) return failed(kParamError);
    // Ciphering in place takes over the caller's buffer: the input is overwritten as it goes,
    // and a large document needs no second buffer of its size. Deciphering writes no more than
    // it reads; enciphering adds up to a block of padding.
    QByteArray out;
    const unsigned char* in;
    if (consumed) {
        if (context == kContextDecrypt) {
            // Anything that would fail half-way fails here, before the input is touched.
            const std::int32_t status = pkcs7 && !ecb ? decryptionWillFail(*consumed, key, iv) : kParamError;
            if (status != kSuccess) return failed(status);
        }
        out = std::move(*consumed);
        if (context == kContextEncrypt) {
            out.reserve(inLength + kBlockSize);
            out.resize(inLength + kBlockSize);
        }
        in = reinterpret_cast<const unsigned char*>(out.constData());
    } else {
        out = QByteArray(inLength + kBlockSize, Qt::Uninitialized);
        in = reinterpret_cast<const unsigned char*>(data.constData());
    }
    // Partial output of a failed call may hold plain text: it is wiped, never handed out.
    auto fail = [&out, &failed](std::int32_t status) {
        secrets::wipe(out);
        return failed(status);
    };
    int written = 0;
    if (EVP_CipherUpdate(ctx.get(), reinterpret_cast<unsigned char*>(out.data()), &written, in, int(inLength)) != 1)
        return fail(kParamError);
    // Without padding, and always when deciphering, the input must be whole blocks.
    if ((!pkcs7 || context == kContextDecrypt) && inLength % kBlockSize != 0) return fail(kAlignmentError);
    int finalWritten = 0;
    if (EVP_CipherFinal_ex(ctx.get(), reinterpret_cast<unsigned char*>(out.data()) + written, &finalWritten) != 1)
        return fail(kDecodeError);
    out.truncate(written + finalWritten);
    return Outcome(std::move(out));
}

ZKCommonCrypto::Outcome ZKCommonCrypto::encrypt(const QByteArray& data) {
    std::uint32_t padding = kPaddingPKCS7;
    QByteArray key = password_.toUtf8();
    const secrets::WipeOnExit wipeKey(key);
    return doCipher(data, key, kContextEncrypt, &padding);
}

ZKCommonCrypto::Outcome ZKCommonCrypto::decrypt(const QByteArray& data) {
    std::uint32_t padding = kPaddingPKCS7;
    QByteArray key = password_.toUtf8();
    const secrets::WipeOnExit wipeKey(key);
    return doCipher(data, key, kContextDecrypt, &padding);
}

ZKCommonCrypto::Outcome ZKCommonCrypto::encrypt(const QByteArray& data, const QByteArray& key, std::uint32_t* padding) {
    return doCipher(data, key, kContextEncrypt, padding);
}

ZKCommonCrypto::Outcome ZKCommonCrypto::decrypt(const QByteArray& data, const QByteArray& key, std::uint32_t* padding) {
    return doCipher(data, key, kContextDecrypt, padding);
}

}  // namespace qv
