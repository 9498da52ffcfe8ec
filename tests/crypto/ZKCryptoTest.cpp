#include "CipherResults.h"

#include "crypto/ZKCrypto.h"
#include "document/LegacyMigration.h"

#include <gtest/gtest.h>

using namespace qv;
using test::statusOf;
using test::valueOf;

namespace {

ZKCrypto engine(const QString& password) { return ZKCrypto(LegacyMigration::kInitVector, password); }

}  // namespace

TEST(ZKCrypto, TheKeyIsAlwaysSixteenBytes) {
    ASSERT_TRUE(ZKCrypto::availabilityError().isEmpty()) << ZKCrypto::availabilityError().toStdString();
    // A long password cut to 16 bytes is checked against an independent cipher in
    // legacy_interop.py. A short password is completed with zero bytes, not repeated.
    const auto shortSealed = engine(QStringLiteral("ab")).cryptData(QByteArray("0123456789"));
    ASSERT_TRUE(shortSealed);
    EXPECT_EQ(valueOf(engine(QStringLiteral("ab") + QString(14, QChar(0))).decryptToData(*shortSealed)),
              QByteArray("0123456789"));
    EXPECT_NE(valueOf(engine(QStringLiteral("abab")).decryptToData(*shortSealed)), QByteArray("0123456789"));
}

TEST(ZKCrypto, CodesEmptyInputAndNumbers) {
    const ZKCrypto e = engine(QStringLiteral("p\u00e4ssword"));
    EXPECT_EQ(valueOf(e.decryptToString(QByteArray())), QString());
    EXPECT_EQ(valueOf(e.decryptToData(QByteArray())), QByteArray());
    EXPECT_EQ(valueOf(e.decryptToLong(QByteArray())), 0);
    // Not a whole block: the final step fails.
    EXPECT_EQ(statusOf(e.decryptToData(QByteArray("abc"))), 2);
    // A wrong key almost always breaks the padding; a number fails the same way.
    const auto sealed = e.cryptString(QStringLiteral("Bank"));
    ASSERT_TRUE(sealed);
    const auto wrong = engine(QStringLiteral("other")).decryptToString(*sealed);
    EXPECT_EQ(statusOf(wrong), 2);
    EXPECT_TRUE(wrong.message().contains(QStringLiteral("password is wrong"))) << wrong.message().toStdString();
    EXPECT_EQ(statusOf(engine(QStringLiteral("other")).decryptToLong(*e.cryptLong(9))), 2);

    // Four plain bytes are a 32-bit number, sign-extended; eight bytes a 64-bit one.
    EXPECT_EQ(valueOf(e.decryptToLong(*e.cryptLongToInt32(-5))), -5);
    EXPECT_EQ(valueOf(e.decryptToLong(*e.cryptLongToInt32(0x80000000LL))), -2147483648LL);
    EXPECT_EQ(valueOf(e.decryptToLong(*e.cryptLong(0x123456789ALL))), 0x123456789ALL);
    EXPECT_EQ(e.cryptLongToInt32(7)->size(), 8);  // one block of padding around 4 bytes
}

TEST(ZKCrypto, ReadinessAndTextsMacRomanCannotHold) {
    EXPECT_FALSE(engine(QString()).cryptData(QByteArray("x")));
    EXPECT_FALSE(ZKCrypto(nullptr, QStringLiteral("pw")).isReady());
    EXPECT_FALSE(engine(QStringLiteral("pw")).cryptString(QStringLiteral("\u4e2d")));
    // A password with a character outside Mac OS Roman can't be used at all.
    const auto sealed = engine(QStringLiteral("pw")).cryptData(QByteArray("data"));
    ASSERT_TRUE(sealed);
    const auto refused = engine(QStringLiteral("p\u4e2d")).decryptToData(*sealed);
    EXPECT_EQ(statusOf(refused), ZKCrypto::kUpdateFailed);
    EXPECT_TRUE(refused.message().contains(QStringLiteral("Mac OS Roman"))) << refused.message().toStdString();
    // Mac OS Roman both ways: the bytes of "é" and "ß" are 0x8E and 0xA7.
    const ZKCrypto e = engine(QStringLiteral("pw"));
    EXPECT_EQ(valueOf(e.decryptToData(*e.cryptString(QStringLiteral("\u00e9\u00df")))), QByteArray("\x8E\xA7"));
}
