#include "crypto/ZKCrypto.h"
#include "document/LegacyMigration.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

ZKCrypto engine(const QString& password) { return ZKCrypto(LegacyMigration::kInitVector, password); }

}  // namespace

TEST(ZKCrypto, TheKeyIsAlwaysSixteenBytes) {
    ASSERT_TRUE(ZKCrypto::availabilityError().isEmpty()) << ZKCrypto::availabilityError().toStdString();
    // A long password cut to 16 bytes is checked against an independent cipher in
    // legacy_interop.py. A short password is completed with zero bytes, not repeated.
    const auto shortSealed = engine(QStringLiteral("ab")).cryptData(QByteArray("0123456789"));
    ASSERT_TRUE(shortSealed);
    std::int32_t code = -1;
    EXPECT_EQ(engine(QStringLiteral("ab") + QString(14, QChar(0))).decryptToData(*shortSealed, &code),
              QByteArray("0123456789"));
    EXPECT_NE(engine(QStringLiteral("abab")).decryptToData(*shortSealed, &code), QByteArray("0123456789"));
}

TEST(ZKCrypto, CodesEmptyInputAndNumbers) {
    const ZKCrypto e = engine(QStringLiteral("p\u00e4ssword"));
    std::int32_t code = -1;
    EXPECT_EQ(e.decryptToString(QByteArray(), &code), QString());
    EXPECT_EQ(code, 0);
    EXPECT_EQ(e.decryptToData(QByteArray(), &code), QByteArray());
    EXPECT_EQ(code, 0);
    // Not a whole block: the final step fails.
    EXPECT_FALSE(e.decryptToData(QByteArray("abc"), &code));
    EXPECT_EQ(code, 2);
    // A wrong key almost always breaks the padding.
    const auto sealed = e.cryptString(QStringLiteral("Bank"));
    ASSERT_TRUE(sealed);
    EXPECT_FALSE(engine(QStringLiteral("other")).decryptToString(*sealed, &code));
    EXPECT_EQ(code, 2);

    // Four plain bytes are a 32-bit number, sign-extended; eight bytes a 64-bit one.
    EXPECT_EQ(e.decryptToLong(*e.cryptLongToInt32(-5), &code), -5);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(e.decryptToLong(*e.cryptLongToInt32(0x80000000LL), &code), -2147483648LL);
    EXPECT_EQ(e.decryptToLong(*e.cryptLong(0x123456789ALL), &code), 0x123456789ALL);
    EXPECT_EQ(e.cryptLongToInt32(7)->size(), 8);  // one block of padding around 4 bytes
}

TEST(ZKCrypto, ReadinessAndTextsMacRomanCannotHold) {
    EXPECT_FALSE(engine(QString()).cryptData(QByteArray("x")));
    EXPECT_FALSE(ZKCrypto(nullptr, QStringLiteral("pw")).isReady());
    EXPECT_FALSE(engine(QStringLiteral("pw")).cryptString(QStringLiteral("\u4e2d")));
    // A password with a character outside Mac OS Roman can't be used at all.
    std::int32_t code = 0;
    const auto sealed = engine(QStringLiteral("pw")).cryptData(QByteArray("data"));
    ASSERT_TRUE(sealed);
    EXPECT_FALSE(engine(QStringLiteral("p\u4e2d")).decryptToData(*sealed, &code));
    EXPECT_NE(code, 0);
    // Mac OS Roman both ways: the bytes of "é" and "ß" are 0x8E and 0xA7.
    const ZKCrypto e = engine(QStringLiteral("pw"));
    EXPECT_EQ(e.decryptToData(*e.cryptString(QStringLiteral("\u00e9\u00df")), &code), QByteArray("\x8E\xA7"));
}
