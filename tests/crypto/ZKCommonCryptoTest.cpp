#include "CipherResults.h"

#include "crypto/ZKCommonCrypto.h"
#include "crypto/ZKRandom.h"

#include <gtest/gtest.h>

using qv::ZKCommonCrypto;
using qv::test::statusOf;
using qv::test::valueOf;

namespace {

// Expected values below were computed with Python's hashlib and cryptography packages, an
// implementation independent of ours.
const QByteArray kSalt = QByteArrayLiteral("saltsalt");
const QByteArray kIV = QByteArray::fromHex("000102030405060708090a0b0c0d0e0f");

}  // namespace

TEST(KeyDerivation, IsPbkdf2Sha1With10000RoundsOnUtf16LengthOfUtf8) {
    EXPECT_EQ(ZKCommonCrypto::AESKeyForPassword(QStringLiteral("password"), kSalt).toHex(),
              QByteArray("683588c11bdd5cc6fe0c3c8ee7e16759c18938fdf002d269b0cca4f23cb87879"));
    // Six characters, seven UTF-8 bytes: only the first six bytes count, so the accent's
    // second byte has no influence.
    const QString accented = QString::fromUtf8("passw\xC3\xA9");
    ASSERT_EQ(accented.size(), 6);
    const QByteArray key = ZKCommonCrypto::AESKeyForPassword(accented, kSalt);
    EXPECT_EQ(key.toHex(), QByteArray("f84b21715b62f22961ed7e8340ecfa6b89999c3a738f905ed00d14acd96fcc09"));
    EXPECT_EQ(key, ZKCommonCrypto::AESKeyForPassword(QString::fromUtf8("passw\xC3\xA8"), kSalt));
}

TEST(Cipher, MatchesAnIndependentAesCbcAndRoundTrips) {
    ZKCommonCrypto engine;
    engine.setPasswordToDecrypt(QStringLiteral("password"), kIV, kSalt);
    const auto sealed = valueOf(engine.encrypt(QByteArrayLiteral("Quorvane record member")));
    ASSERT_TRUE(sealed);
    EXPECT_EQ(sealed->toHex(), QByteArray("667cd4b33f2ec8cd3b0cb79125714865d4265144f7bdcb29ef72c0571f9db28c"));

    // Another engine given only password, IV and salt deciphers it; nothing derived beforehand.
    ZKCommonCrypto reader;
    reader.setPasswordToDecrypt(QStringLiteral("password"), kIV, kSalt);
    const auto plain = valueOf(reader.decrypt(*sealed));
    ASSERT_TRUE(plain);
    EXPECT_EQ(*plain, QByteArrayLiteral("Quorvane record member"));
    // The key argument of the core is ignored.
    std::uint32_t padding = 1;
    EXPECT_EQ(valueOf(reader.decrypt(*sealed, QByteArrayLiteral("anything"), &padding)), plain);

    // The key is derived once and kept, but never outlives what it came from: a key set by hand,
    // another salt or another password is followed by a fresh derivation.
    reader.setAESKey(QByteArray(32, 'k'));
    EXPECT_EQ(valueOf(reader.decrypt(*sealed)), plain);
    EXPECT_EQ(reader.AESKey(), ZKCommonCrypto::AESKeyForPassword(QStringLiteral("password"), kSalt));
    reader.setSalt(QByteArrayLiteral("pepper!!"));
    EXPECT_NE(valueOf(reader.encrypt(QByteArrayLiteral("Quorvane record member"))), sealed);
    EXPECT_EQ(reader.AESKey(), ZKCommonCrypto::AESKeyForPassword(QStringLiteral("password"), "pepper!!"));
    reader.setSalt(kSalt);
    reader.setPassword(QStringLiteral("other"));
    EXPECT_NE(valueOf(reader.decrypt(*sealed)), plain);
    EXPECT_EQ(reader.AESKey(), ZKCommonCrypto::AESKeyForPassword(QStringLiteral("other"), kSalt));
}

TEST(Cipher, EdgesOfInputAndFreshParameters) {
    ZKCommonCrypto engine(QStringLiteral("secret"));
    const auto empty = engine.encrypt(QByteArray());
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->size(), 16);
    EXPECT_EQ(valueOf(engine.decrypt(*empty)), QByteArray());

    // Salt and IV stay put between calls; recalculating them changes the output.
    const auto a = valueOf(engine.encrypt(QByteArrayLiteral("same")));
    EXPECT_EQ(valueOf(engine.encrypt(QByteArrayLiteral("same"))), a);
    engine.recalcIV_Salt_AESKey();
    EXPECT_NE(valueOf(engine.encrypt(QByteArrayLiteral("same"))), a);
    EXPECT_EQ(engine.password(), QStringLiteral("secret"));

    // Not whole blocks, and a wrong password: nothing, with a failure status and a sentence.
    const auto partial = engine.decrypt(QByteArray(17, 'x'));
    EXPECT_FALSE(partial);
    EXPECT_NE(statusOf(partial), 0);
    EXPECT_EQ(partial.message(), ZKCommonCrypto::statusMessage(partial.kind()));
    EXPECT_FALSE(partial.message().isEmpty());
    const auto sealed = engine.encrypt(QByteArray(100, 'z'));
    int wrongPasses = 0;
    for (int i = 0; i < 20; ++i) {
        ZKCommonCrypto other;
        other.setPasswordToDecrypt(QStringLiteral("wrong%1").arg(i), engine.IV(), engine.salt());
        const auto r = other.decrypt(*sealed);
        if (r) ++wrongPasses;  // garbage may pass the padding check now and then
        else EXPECT_EQ(r.kind(), ZKCommonCrypto::kDecodeError);
        EXPECT_NE(valueOf(r), QByteArray(100, 'z'));
    }
    EXPECT_LT(wrongPasses, 20);

    // ECB without padding refuses partial blocks and keeps the padding value of 2.
    std::uint32_t padding = ZKCommonCrypto::kPaddingECBNone;
    EXPECT_FALSE(engine.encrypt(QByteArray(15, 'a'), QByteArray(), &padding));
    EXPECT_EQ(padding, ZKCommonCrypto::kPaddingECBNone);
    padding = 7;  // any other value becomes PKCS#7 when enciphering
    EXPECT_TRUE(engine.encrypt(QByteArray(15, 'a'), QByteArray(), &padding));
    EXPECT_EQ(padding, ZKCommonCrypto::kPaddingPKCS7);
}

TEST(CryptoServices, DigestRandomDataAndCheckString) {
    EXPECT_EQ(ZKCommonCrypto::dataSHA1(QByteArrayLiteral("abc"))->toHex(),
              QByteArray("a9993e364706816aba3e25717850c26c9cd0d89d"));
    EXPECT_EQ(ZKCommonCrypto::randomDataOfLength(0), QByteArray());
    EXPECT_NE(ZKCommonCrypto::randomDataOfLength(32), ZKCommonCrypto::randomDataOfLength(32));

    const QString check = ZKCommonCrypto::generateRandom256AsciiString();
    ASSERT_EQ(check.size(), 256);
    bool beyondAscii = false;
    for (QChar c : check) {
        EXPECT_GE(c.unicode(), 1);
        EXPECT_LE(c.unicode(), 255);
        beyondAscii |= c.unicode() > 127;
    }
    EXPECT_TRUE(beyondAscii);  // 256 draws from 1..255 all below 128 is practically impossible
    const int utf8 = int(check.toUtf8().size());
    EXPECT_GE(utf8, 256);
    EXPECT_LE(utf8, 512);

    for (int i = 0; i < 1000; ++i) {
        const auto r = qv::ZKRandomInteger(-3, 3);
        ASSERT_GE(r, -3);
        ASSERT_LE(r, 3);
    }
}

// Deciphering in place must give what decrypt() gives, status included, for any input; and when
// it fails, the input must be as it was, since it is the only copy of a document's member.
TEST(Cipher, DecipheringInPlaceAgreesWithDecryptAndKeepsWhatFails) {
    ZKCommonCrypto engine;
    engine.setPasswordToDecrypt(QStringLiteral("password"), kIV, kSalt);
    int passed = 0, failed = 0;
    auto compare = [&](const QByteArray& input) {
        const auto expected = engine.decrypt(input);
        QByteArray buffer = input;
        buffer.detach();
        const auto inPlace = engine.decryptInPlace(buffer);
        EXPECT_EQ(valueOf(inPlace), valueOf(expected)) << input.toHex().constData();
        EXPECT_EQ(statusOf(inPlace), statusOf(expected)) << input.toHex().constData();
        if (inPlace) {
            ++passed;
        } else {
            ++failed;
            EXPECT_EQ(buffer, input);
        }
    };
    // Whole blocks of noise, one block (chained to the vector) to several: most fail the padding
    // check, about one in two hundred passes it.
    for (int i = 0; i < 1500; ++i) compare(*ZKCommonCrypto::randomDataOfLength(16 * (1 + i % 4)));
    EXPECT_GT(passed, 0);
    for (const int n : {0, 1, 15, 16, 17, 100}) compare(*engine.encrypt(QByteArray(n, 'p')));
    for (const int n : {0, 17, 33}) compare(QByteArray(n, 'c'));
    EXPECT_GT(failed, 1000);
}
