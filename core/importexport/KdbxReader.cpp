#include "KdbxReader.h"

#include <QCryptographicHash>
#include <QHash>
#include <QtEndian>

#include <argon2.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <zlib.h>

#include <cstring>
#include <optional>

namespace qv::Kdbx {

namespace {

// Little-endian numbers read byte by byte from a place in an array; 0 where the array is too short.
// (A length checked elsewhere is checked again here, so that no read can leave the array.)
quint64 littleEndianAt(const QByteArray& b, qsizetype at, int bytes) {
    if (at < 0 || at + bytes > b.size()) return 0;
    const auto* p = reinterpret_cast<const uchar*>(b.constData()) + at;
    quint64 v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}
quint32 le32(const QByteArray& b, qsizetype at = 0) { return quint32(littleEndianAt(b, at, 4)); }
quint16 le16(const QByteArray& b, qsizetype at = 0) { return quint16(littleEndianAt(b, at, 2)); }
quint64 le64(const QByteArray& b, qsizetype at = 0) { return littleEndianAt(b, at, 8); }


constexpr quint32 kSignature1 = 0x9AA2D903;
constexpr quint32 kSignature2 = 0xB54BFB67;

// Identifiers of the header, as the database names its cipher and key derivation.
const QByteArray kCipherAes256 = QByteArray::fromHex("31c1f2e6bf714350be5805216afc5aff");
const QByteArray kCipherChaCha20 = QByteArray::fromHex("d6038a2b8b6f4cb5a524339a31dbb59a");
const QByteArray kCipherTwofish = QByteArray::fromHex("ad68f29f576f4bb9a36ad47af965346c");
const QByteArray kKdfAesOld = QByteArray::fromHex("c9d9f39a628a4460bf740d08c18a4fea");
const QByteArray kKdfAes = QByteArray::fromHex("7c02bb8279a74ac0927d114a00648238");
const QByteArray kKdfArgon2d = QByteArray::fromHex("ef636ddf8c29444b91f7a9a403e30a0c");
const QByteArray kKdfArgon2id = QByteArray::fromHex("9e298b1956db4773b23dfc3ec6f0a1e6");
const QByteArray kSalsaNonce = QByteArray::fromHex("e830094b97205d2a");

// Bounds past which a header is taken as hostile rather than waited on: about ten seconds of key
// derivation here, many times what the programs that write these files choose (they aim at one
// second), so that a made-up header cannot keep an import busy for minutes or hours.
constexpr quint64 kMaxAesRounds = 200'000'000ull;
constexpr quint64 kMaxArgonMemory = 4ull << 30;
constexpr quint64 kMaxArgonIterations = 100'000;
constexpr quint64 kMaxArgonWork = 16ull << 30;  // bytes of memory times iterations

QByteArray sha256(const QByteArray& a) { return QCryptographicHash::hash(a, QCryptographicHash::Sha256); }
QByteArray sha512(const QByteArray& a) { return QCryptographicHash::hash(a, QCryptographicHash::Sha512); }

QByteArray le64(quint64 v) {
    QByteArray b(8, '\0');
    qToLittleEndian(v, b.data());
    return b;
}

QByteArray hmacSha256(const QByteArray& key, const QByteArray& data) {
    unsigned char out[32];
    unsigned int len = 0;
    HMAC(EVP_sha256(), key.constData(), int(key.size()), reinterpret_cast<const unsigned char*>(data.constData()),
         size_t(data.size()), out, &len);
    return QByteArray(reinterpret_cast<const char*>(out), int(len));
}

// A cursor over the file that refuses to read past its end.
class Cursor {
public:
    explicit Cursor(const QByteArray& d, qsizetype at = 0) : d_(d), pos_(at) {}
    bool has(qsizetype n) const { return n >= 0 && pos_ + n <= d_.size(); }
    qsizetype pos() const { return pos_; }
    std::optional<quint32> u32() {
        if (!has(4)) return std::nullopt;
        const quint32 v = le32(d_, pos_);
        pos_ += 4;
        return v;
    }
    std::optional<quint16> u16() {
        if (!has(2)) return std::nullopt;
        const quint16 v = le16(d_, pos_);
        pos_ += 2;
        return v;
    }
    std::optional<quint8> u8() {
        if (!has(1)) return std::nullopt;
        return quint8(d_[pos_++]);
    }
    std::optional<QByteArray> bytes(qsizetype n) {
        if (!has(n)) return std::nullopt;
        QByteArray b = d_.mid(pos_, n);
        pos_ += n;
        return b;
    }

private:
    const QByteArray& d_;
    qsizetype pos_;
};

class Salsa20 final : public InnerStream {
public:
    Salsa20(const QByteArray& key, const QByteArray& nonce) {
        static const char sigma[] = "expand 32-byte k";
        const QByteArray constants = QByteArray::fromRawData(sigma, 16);
        state_[0] = le32(constants, 0);
        state_[5] = le32(constants, 4);
        state_[10] = le32(constants, 8);
        state_[15] = le32(constants, 12);
        for (int i = 0; i < 4; ++i) {
            state_[1 + i] = le32(key, 4 * i);
            state_[11 + i] = le32(key, 16 + 4 * i);
        }
        state_[6] = le32(nonce, 0);
        state_[7] = le32(nonce, 4);
        state_[8] = state_[9] = 0;
    }
    QByteArray apply(const QByteArray& data) override {
        QByteArray out = data;
        for (qsizetype i = 0; i < out.size(); ++i) {
            if (used_ == 64) refill();
            out[i] = char(quint8(out[i]) ^ block_[used_++]);
        }
        return out;
    }

private:
    static quint32 rotl(quint32 v, int c) { return (v << c) | (v >> (32 - c)); }
    void refill() {
        quint32 x[16];
        std::memcpy(x, state_, sizeof x);
        auto qr = [&](int a, int b, int c, int d) {
            x[b] ^= rotl(x[a] + x[d], 7);
            x[c] ^= rotl(x[b] + x[a], 9);
            x[d] ^= rotl(x[c] + x[b], 13);
            x[a] ^= rotl(x[d] + x[c], 18);
        };
        for (int i = 0; i < 10; ++i) {
            qr(0, 4, 8, 12), qr(5, 9, 13, 1), qr(10, 14, 2, 6), qr(15, 3, 7, 11);
            qr(0, 1, 2, 3), qr(5, 6, 7, 4), qr(10, 11, 8, 9), qr(15, 12, 13, 14);
        }
        for (int i = 0; i < 16; ++i) qToLittleEndian(x[i] + state_[i], block_ + 4 * i);
        if (++state_[8] == 0) ++state_[9];
        used_ = 0;
    }
    quint32 state_[16];
    unsigned char block_[64];
    int used_ = 64;
};

class ChaCha20 final : public InnerStream {
public:
    // OpenSSL's IV is the 32-bit block counter followed by the 96-bit nonce.
    ChaCha20(const QByteArray& key, const QByteArray& nonce12) : ctx_(EVP_CIPHER_CTX_new()) {
        const QByteArray iv = QByteArray(4, '\0') + nonce12;
        EVP_EncryptInit_ex(ctx_, EVP_chacha20(), nullptr, reinterpret_cast<const unsigned char*>(key.constData()),
                           reinterpret_cast<const unsigned char*>(iv.constData()));
    }
    ~ChaCha20() override { EVP_CIPHER_CTX_free(ctx_); }
    QByteArray apply(const QByteArray& data) override {
        QByteArray out(data.size(), '\0');
        int len = 0;
        EVP_EncryptUpdate(ctx_, reinterpret_cast<unsigned char*>(out.data()), &len,
                          reinterpret_cast<const unsigned char*>(data.constData()), int(data.size()));
        return out;
    }

private:
    EVP_CIPHER_CTX* ctx_;
};

std::unique_ptr<InnerStream> innerStream(quint32 id, const QByteArray& key) {
    if (id == 2) return std::make_unique<Salsa20>(sha256(key), kSalsaNonce);
    if (id == 3) {
        const QByteArray h = sha512(key);
        return std::make_unique<ChaCha20>(h.left(32), h.mid(32, 12));
    }
    return nullptr;
}

// The key-derivation parameters of KDBX 4, a small typed dictionary.
struct Variant {
    quint8 type = 0;
    QByteArray bytes;
    quint64 number() const {
        quint64 v = 0;
        for (qsizetype i = std::min<qsizetype>(bytes.size(), 8) - 1; i >= 0; --i) v = (v << 8) | quint8(bytes[i]);
        return v;
    }
};

std::optional<QHash<QString, Variant>> variantDictionary(const QByteArray& data) {
    Cursor c(data);
    const auto version = c.u16();
    if (!version || (*version >> 8) != 1) return std::nullopt;
    QHash<QString, Variant> out;
    for (;;) {
        const auto type = c.u8();
        if (!type) return std::nullopt;
        if (*type == 0) return out;
        const auto keyLen = c.u32();
        if (!keyLen) return std::nullopt;
        const auto key = c.bytes(qsizetype(*keyLen));
        const auto valueLen = key ? c.u32() : std::nullopt;
        const auto value = valueLen ? c.bytes(qsizetype(*valueLen)) : std::nullopt;
        if (!value) return std::nullopt;
        out.insert(QString::fromUtf8(*key), Variant{*type, *value});
    }
}

std::optional<QByteArray> aesKdf(const QByteArray& composite, const QByteArray& seed, quint64 rounds) {
    if (seed.size() != 32) return std::nullopt;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(ctx, EVP_aes_256_ecb(), nullptr, reinterpret_cast<const unsigned char*>(seed.constData()), nullptr);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    unsigned char block[32];
    std::memcpy(block, composite.constData(), 32);
    int len = 0;
    for (quint64 i = 0; i < rounds; ++i) EVP_EncryptUpdate(ctx, block, &len, block, 32);
    EVP_CIPHER_CTX_free(ctx);
    return sha256(QByteArray(reinterpret_cast<const char*>(block), 32));
}

std::optional<QByteArray> decrypt(const QByteArray& cipherId, const QByteArray& key, const QByteArray& iv,
                                  const QByteArray& data) {
    const EVP_CIPHER* cipher = nullptr;
    QByteArray fullIv = iv;
    if (cipherId == kCipherAes256 && iv.size() == 16) cipher = EVP_aes_256_cbc();
    else if (cipherId == kCipherChaCha20 && iv.size() == 12) {
        cipher = EVP_chacha20();
        fullIv = QByteArray(4, '\0') + iv;
    }
    if (!cipher) return std::nullopt;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    QByteArray out(data.size() + 32, '\0');
    int len = 0, tail = 0;
    const bool ok =
        EVP_DecryptInit_ex(ctx, cipher, nullptr, reinterpret_cast<const unsigned char*>(key.constData()),
                           reinterpret_cast<const unsigned char*>(fullIv.constData())) == 1 &&
        EVP_DecryptUpdate(ctx, reinterpret_cast<unsigned char*>(out.data()), &len,
                          reinterpret_cast<const unsigned char*>(data.constData()), int(data.size())) == 1 &&
        EVP_DecryptFinal_ex(ctx, reinterpret_cast<unsigned char*>(out.data()) + len, &tail) == 1;
    EVP_CIPHER_CTX_free(ctx);
    if (!ok) return std::nullopt;
    out.resize(len + tail);
    return out;
}

// Inflates a gzip stream a piece at a time, so that the XML, five to ten times the size of the
// file, is never whole in memory.
class Inflater {
public:
    explicit Inflater(QByteArray compressed) : in_(std::move(compressed)) {
        ok_ = inflateInit2(&z_, 16 + MAX_WBITS) == Z_OK;
        z_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in_.constData()));
        z_.avail_in = uInt(in_.size());
    }
    ~Inflater() { inflateEnd(&z_); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    // The next piece; false at the end, or on damage (then failed() is true).
    bool next(QByteArray* piece) {
        if (!ok_ || done_) return false;
        piece->resize(1 << 20);
        z_.next_out = reinterpret_cast<Bytef*>(piece->data());
        z_.avail_out = uInt(piece->size());
        const int rc = inflate(&z_, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) {
            ok_ = false;
            return false;
        }
        if (rc == Z_STREAM_END) done_ = true;
        piece->resize(piece->size() - qsizetype(z_.avail_out));
        if (piece->isEmpty() && !done_) {  // no progress: the stream is cut short
            ok_ = false;
            return false;
        }
        return !piece->isEmpty() || !done_;
    }
    bool failed() const { return !ok_; }

private:
    QByteArray in_;
    z_stream z_{};
    bool ok_ = false;
    bool done_ = false;
};

// The content after the cipher: inflated when the header says so, handed out in pieces, with the
// first `skip` bytes (KDBX 4's inner header) taken off by the caller through `take`.
class Content {
public:
    Content(QByteArray plain, bool compressed) {
        if (compressed) inflater_ = std::make_unique<Inflater>(std::move(plain));
        else buffer_ = std::move(plain);
    }
    // At least `n` bytes in the buffer, if the content has them.
    bool fill(qsizetype n) {
        QByteArray piece;
        while (buffer_.size() - at_ < n && inflater_ && inflater_->next(&piece)) buffer_ += piece;
        return buffer_.size() - at_ >= n;
    }
    QByteArray take(qsizetype n) {
        QByteArray out = buffer_.mid(at_, n);
        at_ += n;
        return out;
    }
    bool next(QByteArray* piece) {
        if (at_ < buffer_.size()) {
            *piece = buffer_.mid(at_);
            buffer_.clear();
            at_ = 0;
            return true;
        }
        buffer_.clear();
        at_ = 0;
        return inflater_ && inflater_->next(piece);
    }
    bool failed() const { return inflater_ && inflater_->failed(); }

private:
    std::unique_ptr<Inflater> inflater_;
    QByteArray buffer_;
    qsizetype at_ = 0;
};

Result<Opened, Problem> failure(Problem p, const QString& error) { return Result<Opened, Problem>::failed(p, error); }

// The next piece of the content; false at its end, a failure when inflating failed there.
Result<bool> nextPiece(Content& content, QByteArray* piece) {
    if (content.next(piece)) return true;
    if (content.failed()) return Result<bool>::failed(0, QStringLiteral("the content's gzip stream is damaged"));
    return false;
}

}  // namespace

bool hasSignature(const QByteArray& file) {
    return file.size() >= 8 && le32(file, 0) == kSignature1 && le32(file, 4) == kSignature2;
}

QByteArray salsa20(const QByteArray& key32, const QByteArray& nonce8, const QByteArray& data) {
    return Salsa20(key32, nonce8).apply(data);
}

Result<Opened, Problem> open(const QByteArray& file, const QString& password) {
    if (!hasSignature(file)) return failure(Problem::Malformed, QStringLiteral("not a KeePass 2 database (no KDBX signature)"));
    Cursor c(file, 8);
    const quint32 version = *c.u32();
    const int major = int(version >> 16), minor = int(version & 0xFFFF);
    if (major != 3 && major != 4)
        return failure(Problem::Malformed, QStringLiteral("KDBX %1.%2 is not a version this program reads (3.1 and 4 are)")
                                              .arg(major).arg(minor));
    QByteArray cipherId, masterSeed, iv, transformSeed, protectedStreamKey, streamStart, kdfParams;
    quint64 transformRounds = 0;
    quint32 compression = 0, innerId = 0;
    for (;;) {
        const auto id = c.u8();
        std::optional<quint32> size;
        if (id && major == 4) size = c.u32();
        else if (id) {
            if (const auto small = c.u16()) size = *small;
        }
        const auto data = size ? c.bytes(qsizetype(*size)) : std::nullopt;
        if (!data) return failure(Problem::Malformed, QStringLiteral("the header ends before its end field"));
        switch (*id) {
        case 0: break;
        case 2: cipherId = *data; break;
        case 3: compression = data->size() >= 4 ? le32(*data) : 99; break;
        case 4: masterSeed = *data; break;
        case 5: transformSeed = *data; break;
        case 6: transformRounds = data->size() == 8 ? le64(*data) : 0; break;
        case 7: iv = *data; break;
        case 8: protectedStreamKey = *data; break;
        case 9: streamStart = *data; break;
        case 10: innerId = data->size() >= 4 ? le32(*data) : 0; break;
        case 11: kdfParams = *data; break;
        default: break;
        }
        if (*id == 0) break;
    }
    const qsizetype headerEnd = c.pos();
    if (cipherId == kCipherTwofish)
        return failure(Problem::Malformed, QStringLiteral("the database is enciphered with Twofish, which this program does not read"));
    if (cipherId != kCipherAes256 && cipherId != kCipherChaCha20)
        return failure(Problem::Malformed, QStringLiteral("the header names an unknown cipher"));
    if (compression > 1) return failure(Problem::Malformed, QStringLiteral("the header names an unknown compression"));
    if (masterSeed.size() != 32) return failure(Problem::Malformed, QStringLiteral("the header's master seed is not 32 bytes"));

    const QByteArray composite = sha256(sha256(password.toUtf8()));
    std::optional<QByteArray> transformed;
    if (major == 3) {
        if (transformRounds > kMaxAesRounds)
            return failure(Problem::Malformed, QStringLiteral("the header asks for %1 key rounds, more than any database uses").arg(transformRounds));
        transformed = aesKdf(composite, transformSeed, transformRounds);
    } else {
        const auto params = variantDictionary(kdfParams);
        if (!params || !params->contains(QStringLiteral("$UUID")))
            return failure(Problem::Malformed, QStringLiteral("the key derivation parameters cannot be read"));
        const QByteArray kdf = params->value(QStringLiteral("$UUID")).bytes;
        const QByteArray salt = params->value(QStringLiteral("S")).bytes;
        if (kdf == kKdfAes || kdf == kKdfAesOld) {
            const quint64 rounds = params->value(QStringLiteral("R")).number();
            if (rounds > kMaxAesRounds)
                return failure(Problem::Malformed, QStringLiteral("the header asks for %1 key rounds, more than any database uses").arg(rounds));
            transformed = aesKdf(composite, salt, rounds);
        } else if (kdf == kKdfArgon2d || kdf == kKdfArgon2id) {
            const quint64 memory = params->value(QStringLiteral("M")).number();
            const quint64 iterations = params->value(QStringLiteral("I")).number();
            const quint64 lanes = params->value(QStringLiteral("P")).number();
            const quint64 argonVersion = params->value(QStringLiteral("V")).number();
            if (memory > kMaxArgonMemory || iterations > kMaxArgonIterations || lanes == 0 || lanes > 256 ||
                memory * iterations > kMaxArgonWork)
                return failure(Problem::Malformed, QStringLiteral("the Argon2 parameters are beyond what this program will run "
                                                                 "(memory %1 bytes, %2 iterations, %3 lanes)")
                                                      .arg(memory).arg(iterations).arg(lanes));
            QByteArray out(32, '\0');
            const int rc = argon2_hash(uint32_t(iterations), uint32_t(memory / 1024), uint32_t(lanes), composite.constData(),
                                       size_t(composite.size()), salt.constData(), size_t(salt.size()), out.data(), 32,
                                       nullptr, 0, kdf == kKdfArgon2d ? Argon2_d : Argon2_id,
                                       argonVersion == 0x10 ? ARGON2_VERSION_10 : ARGON2_VERSION_13);
            if (rc != ARGON2_OK)
                return failure(Problem::Malformed, QStringLiteral("Argon2 refused the header's parameters: %1")
                                                      .arg(QString::fromUtf8(argon2_error_message(rc))));
            transformed = out;
        } else {
            return failure(Problem::Malformed, QStringLiteral("the header names an unknown key derivation"));
        }
    }
    if (!transformed) return failure(Problem::Malformed, QStringLiteral("the key derivation seed is not 32 bytes"));
    const QByteArray key = sha256(masterSeed + *transformed);

    QByteArray payload;
    Opened opened;
    if (major == 4) {
        const auto hash = c.bytes(32);
        const auto hmac = hash ? c.bytes(32) : std::nullopt;
        if (!hmac) return failure(Problem::Malformed, QStringLiteral("the file ends inside its header"));
        if (*hash != sha256(file.left(headerEnd)))
            return failure(Problem::Malformed, QStringLiteral("the header's checksum does not match: the file is damaged"));
        const QByteArray hmacKey = sha512(masterSeed + *transformed + QByteArray(1, '\x01'));
        if (hmacSha256(sha512(le64(~0ull) + hmacKey), file.left(headerEnd)) != *hmac)
            return failure(Problem::WrongPassword, QString());
        QByteArray encrypted;
        for (quint64 index = 0;; ++index) {
            const auto blockHmac = c.bytes(32);
            const auto size = blockHmac ? c.u32() : std::nullopt;
            const auto data = size && *size < 0x80000000u ? c.bytes(qsizetype(*size)) : std::nullopt;
            if (!data) return failure(Problem::Malformed, QStringLiteral("block %1 is cut short").arg(index));
            QByteArray sizeBytes(4, '\0');
            qToLittleEndian(*size, sizeBytes.data());
            if (hmacSha256(sha512(le64(index) + hmacKey), le64(index) + sizeBytes + *data) != *blockHmac)
                return failure(Problem::Malformed, QStringLiteral("block %1 fails its integrity check: the file is damaged").arg(index));
            if (data->isEmpty()) break;
            encrypted += *data;
        }
        auto plain = decrypt(cipherId, key, iv, encrypted);
        if (!plain) return failure(Problem::Malformed, QStringLiteral("the content cannot be deciphered: the file is damaged"));
        encrypted.clear();
        auto content = std::make_shared<Content>(std::move(*plain), compression == 1);
        quint32 streamId = 0;
        QByteArray streamKey;
        bool headerEnded = false;
        for (;;) {
            if (!content->fill(5)) break;
            const QByteArray field = content->take(5);
            const quint8 id = quint8(field[0]);
            const quint32 size = le32(field, 1);
            if (size >= 0x80000000u || !content->fill(qsizetype(size))) break;
            const QByteArray data = content->take(qsizetype(size));
            if (id == 0) {
                headerEnded = true;
                break;
            }
            if (id == 1 && data.size() >= 4) streamId = le32(data);
            if (id == 2) streamKey = data;
        }
        if (!headerEnded)
            return failure(Problem::Malformed, content->failed() ? QStringLiteral("the content's gzip stream is damaged")
                                                                : QStringLiteral("the inner header is cut short"));
        opened.stream = innerStream(streamId, streamKey);
        opened.pieces = [content](QByteArray* piece) { return nextPiece(*content, piece); };
    } else {
        auto plain = decrypt(cipherId, key, iv, file.mid(headerEnd));
        if (!plain || streamStart.size() != 32 || !plain->startsWith(streamStart)) return failure(Problem::WrongPassword, QString());
        Cursor blocks(*plain, 32);
        for (quint32 index = 0;; ++index) {
            const auto blockIndex = blocks.u32();
            const auto hash = blockIndex ? blocks.bytes(32) : std::nullopt;
            const auto size = hash ? blocks.u32() : std::nullopt;
            const auto data = size && *size < 0x80000000u ? blocks.bytes(qsizetype(*size)) : std::nullopt;
            if (!data) return failure(Problem::Malformed, QStringLiteral("block %1 is cut short").arg(index));
            if (data->isEmpty()) break;
            if (*blockIndex != index || sha256(*data) != *hash)
                return failure(Problem::Malformed, QStringLiteral("block %1 fails its integrity check: the file is damaged").arg(index));
            payload += *data;
        }
        auto content = std::make_shared<Content>(std::move(payload), compression == 1);
        opened.pieces = [content](QByteArray* piece) { return nextPiece(*content, piece); };
        opened.stream = innerStream(innerId, protectedStreamKey);
    }
    return opened;
}

}  // namespace qv::Kdbx
