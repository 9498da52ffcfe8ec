// Wiping secrets must never damage a value that someone else still holds: Qt shares the storage
// of copies, and engines get the document's password by copy.

#include "CipherResults.h"

#include "crypto/SecretMemory.h"
#include "crypto/ZKCommonCrypto.h"
#include "crypto/ZKCrypto.h"
#include "document/LegacyMigration.h"

#include <gtest/gtest.h>

using namespace qv;
using test::valueOf;

TEST(SecretMemory, OnlyTheLastHolderWipesAndTheValueEndsEmpty) {
    QByteArray key = QByteArray("derived key bytes").repeated(4);
    const QByteArray stillHeld = key;
    secrets::wipe(key);
    EXPECT_TRUE(key.isEmpty());
    EXPECT_EQ(stillHeld, QByteArray("derived key bytes").repeated(4));

    QString password = QStringLiteral("correct horse");
    const QString copy = password;
    secrets::wipe(password);
    EXPECT_TRUE(password.isEmpty());
    EXPECT_EQ(copy, QStringLiteral("correct horse"));

    // Text that was never allocated (a literal) and bytes viewed in place are left alone.
    static const char raw[] = "raw secret";
    QByteArray view = QByteArray::fromRawData(raw, 10);
    secrets::wipe(view);
    EXPECT_STREQ(raw, "raw secret");
    QString literal = QStringLiteral("literal");
    secrets::wipe(literal);
    EXPECT_TRUE(literal.isEmpty());

    // Contents that start inside their block (a removal from the front moves the start): the
    // wipe covers the block and not a byte beyond it, which the address sanitizer checks.
    QByteArray front(4096, 's');
    front.remove(0, 1000);
    ASSERT_GT(front.data_ptr().freeSpaceAtBegin(), 0);
    secrets::wipe(front);
    EXPECT_TRUE(front.isEmpty());
    QString text(4096, QLatin1Char('s'));
    text.remove(0, 1000);
    ASSERT_GT(text.data_ptr().freeSpaceAtBegin(), 0);
    secrets::wipe(text);
    EXPECT_TRUE(text.isEmpty());
}

TEST(SecretMemory, EnginesKeepTheirPasswordWhenGivenTheirOwnAndStillDecipher) {
    QString documentPassword = QStringLiteral("s\u00e9cret-1");
    auto engine = ZKCommonCrypto::initWithPassword(documentPassword);
    const auto sealed = engine->encrypt(QByteArray("member"));
    ASSERT_TRUE(sealed);
    engine->setPassword(engine->password());  // the same object handed back
    engine->setPasswordToDecrypt(engine->password(), engine->IV(), engine->salt());
    EXPECT_EQ(engine->password(), documentPassword);
    EXPECT_EQ(valueOf(engine->decrypt(*sealed)), QByteArray("member"));
    // The document wiping its own copy leaves the engine's intact, and the other way round.
    secrets::wipe(documentPassword);
    EXPECT_EQ(engine->password(), QStringLiteral("s\u00e9cret-1"));

    ZKCrypto old(LegacyMigration::kInitVector, QStringLiteral("old password"));
    const QByteArray field = old.cryptString(QStringLiteral("field")).value();
    old.setPassword(old.password());
    EXPECT_EQ(valueOf(old.decryptToString(field)), QStringLiteral("field"));
}
