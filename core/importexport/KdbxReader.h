#pragma once

// A KeePass 2 database file opened with its password: KDBX 4 (Argon2d, Argon2id or AES-KDF;
// AES-256 or ChaCha20; HMAC block stream) and KDBX 3.1 (AES-KDF, AES-256, hashed block stream),
// gzip or plain. What comes out is the database's XML and the inner stream that reveals its
// protected values; reading the XML is the job of the KeePass XML reader.

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

namespace qv::Kdbx {

bool hasSignature(const QByteArray& file);

// The keystream that hides protected values, consumed in document order.
class InnerStream {
public:
    virtual ~InnerStream() = default;
    virtual QByteArray apply(const QByteArray& data) = 0;
};

enum class Problem { Malformed, WrongPassword };

struct Opened {
    // The database's XML, a piece at a time (inflated as it is asked for); false once there is
    // no more, a failure when inflating fails on the way.
    std::function<Result<bool>(QByteArray*)> pieces;
    std::unique_ptr<InnerStream> stream;  // absent when the database protects nothing
};

// The database opened, or why not (a wrong password has no message of its own).
Result<Opened, Problem> open(const QByteArray& file, const QString& password);

// Salsa20 keystream XOR (20 rounds, 64-bit nonce): the inner stream of KDBX 3.1 files, which
// OpenSSL does not provide. Exposed for its test.
QByteArray salsa20(const QByteArray& key32, const QByteArray& nonce8, const QByteArray& data);

}  // namespace qv::Kdbx
