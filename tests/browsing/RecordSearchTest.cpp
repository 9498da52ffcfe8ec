#include "browsing/RecordSearch.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include "support/ProcessLocale.h"

#include <unicode/locid.h>

#include <gtest/gtest.h>

using namespace qv;

namespace {

Dictionary record(const char* name, const char* note = "", const char* password = "", const Value& category = {}) {
    Dictionary r = RecordModel::newRecord(0);
    r.set(keys::name, Value(name));
    r.set(keys::note, Value(note));
    r.set(keys::password, Value(password));
    r.set(keys::categoryPtr, category);
    return r;
}

}  // namespace

TEST(RecordTest, CaseIgnoredAccentsKeptCanonicalFormsEqual) {
    const RecordSearch upper(QStringLiteral("BANK"));
    EXPECT_TRUE(upper.matches(QStringLiteral("my bank account")));
    EXPECT_FALSE(RecordSearch(QStringLiteral("e")).matches(QString::fromUtf8("caf\xC3\xA9")));  // é is not e
    // A composed é finds its decomposed spelling and the other way round.
    EXPECT_TRUE(RecordSearch(QString::fromUtf8("caf\xC3\xA9")).matches(QString::fromUtf8("Cafe\xCC\x81 Nero")));
    EXPECT_TRUE(RecordSearch(QString::fromUtf8("cafe\xCC\x81")).matches(QString::fromUtf8("CAF\xC3\x89")));
    // A plain letter does not match a letter carrying a mark that has no composed form.
    EXPECT_FALSE(RecordSearch(QStringLiteral("x")).matches(QString::fromUtf8("x\xCC\x81")));
    // One substring: the blank counts, there is no splitting into words.
    EXPECT_FALSE(RecordSearch(QStringLiteral("my account")).matches(QStringLiteral("my bank account")));
    EXPECT_FALSE(RecordSearch(QStringLiteral(" bank")).matches(QStringLiteral("bank")));
}

TEST(RecordTest, FullCaseFoldingSharpSAndLigatures) {
    EXPECT_TRUE(RecordSearch(QStringLiteral("STRASSE")).matches(QString::fromUtf8("Hauptstra\xC3\x9F" "e 5")));
    EXPECT_TRUE(RecordSearch(QString::fromUtf8("stra\xC3\x9F" "e")).matches(QStringLiteral("HAUPTSTRASSE")));
    EXPECT_TRUE(RecordSearch(QStringLiteral("fish")).matches(QString::fromUtf8("\xEF\xAC\x81sh")));  // the fi ligature
    // A text that grows by more than a little when folded.
    EXPECT_TRUE(RecordSearch(QString(80, QLatin1Char('S')) + QStringLiteral("X"))
                    .matches(QStringLiteral("a") + QString(40, QChar(0xDF)) + QStringLiteral("x")));
    // Accents still count after folding.
    EXPECT_FALSE(RecordSearch(QStringLiteral("STRASSE")).matches(QString::fromUtf8("Stra\xC3\x9F\xC3\xA9")));
}

TEST(RecordTest, PlainTextShortcutsAgreeWithFoldingAtEveryPosition) {
    // The fast scan of plain text stops at a match or at the first other character; these put
    // matches, marks and foreign letters before, across and after blocks of eight characters.
    const QString pad = QStringLiteral("zzzzzzzzzzzzz");  // 13: shifts matches across blocks
    for (int shift = 0; shift < 9; ++shift) {
        const QString lead = pad.left(shift);
        const auto m = [&](const char* needle, const QString& text) {
            return RecordSearch(QString::fromUtf8(needle)).matches(lead + text);
        };
        EXPECT_TRUE(m("account", QStringLiteral("my ACCOUNT at the bank"))) << shift;
        EXPECT_TRUE(m("abc", QString::fromUtf8("xABCd and then caf\xC3\xA9")));  // foreign letters later
        EXPECT_FALSE(m("cafe", QString::fromUtf8("the Cafe\xCC\x81 by the sea")));  // é, composed
        EXPECT_TRUE(m("cafe", QString::fromUtf8("Cafe\xCC\x81 and a plain cafe")));   // the second one
        EXPECT_FALSE(m("x", QString::fromUtf8("x\xCC\x81")));
        EXPECT_TRUE(m("k", QString::fromUtf8("\xE2\x84\xAA")));                     // the Kelvin sign folds to k
        EXPECT_TRUE(m("zzzzzzzzzzzzzzzzzzzzzzq", pad + pad + QStringLiteral("q")));
        EXPECT_FALSE(m("account", QStringLiteral("accoun")));
        EXPECT_FALSE(m("@", QStringLiteral("`abc")));  // '@' | 0x20 is '`': not a letter
    }
}

TEST(RecordTest, CategoryAndFieldsCombineAsTheFilterSays) {
    Dictionary bank{{keys::cat_category, Value("Bank")}};
    Dictionary bankTwin{{keys::cat_category, Value("Bank")}};
    const RecordSearch none{QString()}, secret{QStringLiteral("SECRET")}, word{QStringLiteral("WORD")};
    const Dictionary a = record("Savings", "", "secret", Value(bank));
    const Dictionary b = record("Other", "a secret word", "", Value(bankTwin));
    const Dictionary orphan = record("Orphan");
    EXPECT_TRUE(RecordSearch::recordPasses(a, QStringLiteral("Bank"), none));
    EXPECT_TRUE(RecordSearch::recordPasses(b, QStringLiteral("Bank"), none));  // names, not identities
    EXPECT_FALSE(RecordSearch::recordPasses(a, QStringLiteral("bank"), none));  // exact name
    EXPECT_FALSE(RecordSearch::recordPasses(orphan, QStringLiteral("Bank"), none));
    EXPECT_FALSE(RecordSearch::recordPasses(a, QString(), secret));  // the password is never searched
    EXPECT_TRUE(RecordSearch::recordPasses(b, QString(), word));     // the note is
    EXPECT_FALSE(RecordSearch::recordPasses(b, QStringLiteral("Home"), word));
}

TEST(FilterSentence, PartsAndTheirJoin) {
    EXPECT_EQ(filterSentence(QStringLiteral("Bank"), QStringLiteral("foo")),
              QStringLiteral(" category = 'Bank' and search string = 'foo'"));
    EXPECT_EQ(filterSentence(QStringLiteral("Bank"), QString()), QStringLiteral(" category = 'Bank'"));
    EXPECT_EQ(filterSentence(QString(), QStringLiteral("it's")), QStringLiteral(" search string = 'it's'"));
    EXPECT_EQ(filterSentence(QString(), QString()), QString());
}

TEST(Sorting, ComparatorTableAndColumns) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US"), status);
    EXPECT_EQ(textComparisonForPreference(0), TextComparison::Compare);
    EXPECT_EQ(textComparisonForPreference(1), TextComparison::LocalizedCompare);
    EXPECT_EQ(textComparisonForPreference(-3), TextComparison::LocalizedCaseInsensitiveCompare);
    EXPECT_EQ(textComparisonForPreference(7), TextComparison::LocalizedCaseInsensitiveCompare);

    const Value zebra("Zebra"), apple("apple"), appleUpper("Apple");
    EXPECT_LT(makeValueComparator(TextComparison::Compare)(zebra, apple), 0);  // capitals first
    EXPECT_GT(makeValueComparator(TextComparison::LocalizedCaseInsensitiveCompare)(zebra, apple), 0);
    EXPECT_EQ(makeValueComparator(TextComparison::LocalizedCaseInsensitiveCompare)(apple, appleUpper), 0);
    EXPECT_NE(makeValueComparator(TextComparison::LocalizedCompare)(apple, appleUpper), 0);
    EXPECT_LT(compareValues(Value(), apple), 0);  // missing values first
    EXPECT_LT(compareValues(Value::integer(2), Value::integer(10)), 0);

    EXPECT_TRUE(columnSortFor(QStringLiteral("password")).usesPreferredComparison);
    EXPECT_EQ(columnSortFor(QStringLiteral("category")).keyPath, QStringLiteral("categoryPtr.cat_category"));
    EXPECT_FALSE(columnSortFor(QStringLiteral("usageCount")).usesPreferredComparison);
    EXPECT_EQ(columnSortFor(QStringLiteral("createdDate")).keyPath, QStringLiteral("createdDate"));
}

TEST(Sorting, WithoutALocaleCaseIsIgnoredAsWithOne) {
    // C.UTF-8 is what ICU calls en_US_POSIX, whose order puts every capital first.
    const test::ProcessLocale c("C.UTF-8");
    const Value zebra("Zebra"), apple("apple"), appleUpper("Apple");
    const auto ignoringCase = makeValueComparator(TextComparison::LocalizedCaseInsensitiveCompare);
    EXPECT_GT(ignoringCase(zebra, apple), 0);
    EXPECT_EQ(ignoringCase(apple, appleUpper), 0);
    const auto byLocale = makeValueComparator(TextComparison::LocalizedCompare);
    EXPECT_GT(byLocale(zebra, apple), 0);
    EXPECT_NE(byLocale(apple, appleUpper), 0);
    // The sort keys a column sort uses agree with the comparator.
    const auto key = makeSortKey(TextComparison::LocalizedCaseInsensitiveCompare);
    EXPECT_GT(compareValues(key(zebra), key(apple)), 0);
    EXPECT_EQ(compareValues(key(apple), key(appleUpper)), 0);
    EXPECT_LT(makeValueComparator(TextComparison::Compare)(zebra, apple), 0);  // code units stay as they are
}
