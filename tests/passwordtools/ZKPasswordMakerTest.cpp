#include "passwordtools/ZKPasswordMaker.h"

#include "crypto/ZKRandom.h"

#include <QHash>
#include <QSet>

#include <cmath>
#include <deque>

#include <gtest/gtest.h>

using namespace qv;

namespace {
const QString kDefaultNoChars = QStringLiteral("0O1lI");

QSet<QChar> charsOf(ZKPasswordMaker& m, int tag, int length, bool filtering, int draws = 200) {
    QSet<QChar> seen;
    for (int i = 0; i < draws; ++i) {
        const QString p = m.generatePasswordType(tag, length, filtering, kDefaultNoChars).value();
        EXPECT_EQ(p.size(), length) << tag;
        for (QChar c : p) seen.insert(c);
    }
    return seen;
}

QSet<QChar> setOf(const QString& s) { return QSet<QChar>(s.begin(), s.end()); }
}  // namespace

TEST(PasswordMaker, AlphabetsAndTags) {
    ZKPasswordMaker m;
    EXPECT_EQ(m.uppercaseAlphaString.size(), 24);  // no H and no I
    EXPECT_EQ(m.punctuationString.size(), 19);
    // Over many draws every character of the alphabet turns up, and nothing else.
    EXPECT_EQ(charsOf(m, 11, 42, false), setOf(m.lowercaseAlphaString));
    EXPECT_EQ(charsOf(m, 12, 30, false), setOf(m.uppercaseAlphaString));  // unknown tags: upper case
    EXPECT_EQ(charsOf(m, 52, 30, false), setOf(m.exadecimalString));
    EXPECT_EQ(charsOf(m, 40, 40, false, 400),
              setOf(m.lowercaseAlphaString + m.uppercaseAlphaString + m.numericString + m.punctuationString));
    EXPECT_EQ(m.generatePasswordType(30, 0, false, QString()).value(), QString());
}

TEST(PasswordMaker, DisambiguatorExactCaseAndReadableRules) {
    ZKPasswordMaker m;
    const QSet<QChar> digits = charsOf(m, 30, 40, true);
    EXPECT_FALSE(digits.contains(QLatin1Char('0')) || digits.contains(QLatin1Char('1')));
    EXPECT_EQ(digits.size(), 8);
    const QSet<QChar> upperReadable = charsOf(m, 61, 23, true);
    EXPECT_FALSE(upperReadable.contains(QLatin1Char('O')) || upperReadable.contains(QLatin1Char('I')));
    // "l" is excluded in lower case, but readable elements are upper case until the end.
    EXPECT_TRUE(charsOf(m, 60, 30, true, 400).contains(QLatin1Char('l')));
    m.generatePasswordType(60, 7, true, kDefaultNoChars);
    EXPECT_EQ(m.readableVowelArrayDisambiguated.size(), 6);
    EXPECT_EQ(m.readableConsonantsArrayDisambiguated.size(), 34);
    // Off, or with an empty string, the list has no effect.
    EXPECT_TRUE(charsOf(m, 30, 40, false).contains(QLatin1Char('0')));
    QString unfiltered;
    for (int i = 0; i < 50; ++i) unfiltered += m.generatePasswordType(30, 40, true, QString()).value();
    EXPECT_TRUE(unfiltered.contains(QLatin1Char('0')) && unfiltered.contains(QLatin1Char('1')));
    for (int length : {0, 1, 2, 7, 13}) EXPECT_EQ(m.generatePasswordType(60, length, false, QString())->size(), length);
    // An alphabet emptied by the list gives nothing instead of ending the program.
    EXPECT_FALSE(m.generatePasswordType(30, 8, true, QStringLiteral("0123456789")).has_value());
    EXPECT_TRUE(m.generatePasswordType(20, 8, true, QStringLiteral("0123456789")).has_value());
    EXPECT_EQ(ZKPasswordMaker::clampLength(3), 5);
    EXPECT_EQ(ZKPasswordMaker::clampLength(100), 42);
}

TEST(PasswordMaker, EveryCharacterOfATypeIsEquallyLikely) {
    // Thousands of characters per type: each character of the type's alphabet turns up, nothing
    // else does, and the counts pass a chi-square test far out in its tail (about one false alarm
    // in a million runs). A generator folding a byte onto the alphabet with a plain modulo makes
    // the first characters a third likelier and fails it.
    ZKPasswordMaker m;
    for (int tag : {10, 11, 20, 21, 22, 30, 40, 41, 42, 52, 12}) {
        m.generatePasswordType(tag, 1, false, QString());
        const QString alphabet = m.alphabetForTag(tag);
        const int perCharacter = 300;
        const int total = int(alphabet.size()) * perCharacter;
        QHash<QChar, int> counts;
        for (int drawn = 0; drawn < total; drawn += 40) {
            const QString password = m.generatePasswordType(tag, 40, false, QString()).value_or(QString());
            for (QChar c : password) ++counts[c];
        }
        ASSERT_EQ(counts.size(), QSet<QChar>(alphabet.begin(), alphabet.end()).size()) << tag;
        double chi2 = 0, n = 0;
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) n += it.value();
        const double expected = n / double(alphabet.size());
        for (QChar c : alphabet) {
            ASSERT_TRUE(counts.contains(c)) << tag << " never gave " << c.toLatin1();
            chi2 += std::pow(counts.value(c) - expected, 2) / expected;
        }
        const double dof = double(alphabet.size() - 1);
        EXPECT_LT(chi2, dof + 7 * std::sqrt(2 * dof) + 10) << "tag " << tag;
    }
}

TEST(PasswordMaker, DrawsThrowAwayTheWordsThatWouldFavourTheFirstResults) {
    // 2^64 mod 3 is 1: the word 0 is the surplus and must be drawn again; 5 then gives 2.
    std::deque<std::uint64_t> words{0, 5};
    auto next = [&] {
        const std::uint64_t w = words.front();
        words.pop_front();
        return w;
    };
    EXPECT_EQ(ZKUniformBelow(3, next), 2u);
    EXPECT_TRUE(words.empty());
    // 2^64 mod 79 is 51: words 0 to 50 go, 51 is the first kept.
    words = {50, 3, 130, 7};
    EXPECT_EQ(ZKUniformBelow(79, next), 51u);
    EXPECT_EQ(words.size(), 1u);
    words = {51};
    EXPECT_EQ(ZKUniformBelow(79, next), 51u);
    // A power of two has no surplus.
    words = {0};
    EXPECT_EQ(ZKUniformBelow(16, next), 0u);
    for (int i = 0; i < 1000; ++i) ASSERT_LT(ZKSecureRandomBelow(7), 7u);
}

TEST(PasswordRating, TableOfExamplesAndTheStars) {
    const int table[][4] = {{30, 5, 1, 1}, {11, 12, 3, 2}, {40, 12, 5, 4}, {40, 20, 8, 7}, {40, 42, 17, 10}, {60, 12, 3, 2}};
    for (const auto& row : table) {
        EXPECT_EQ(ZKPasswordMaker::calcStarNumberFromTypeTag(row[0], row[1]), row[2]) << row[0] << "/" << row[1];
        PasswordQuality q;
        q.SetQualityValue(row[2]);
        EXPECT_EQ(q.qualityValue, row[3]);
    }
    EXPECT_EQ(ZKPasswordMaker::calcStarNumberFromTypeTag(21, 20), ZKPasswordMaker::calcStarNumberFromTypeTag(22, 20));
    EXPECT_EQ(ZKPasswordMaker::calcStarNumberFromTypeTag(60, 30), ZKPasswordMaker::calcStarNumberFromTypeTag(61, 30));
    PasswordQuality fresh;
    EXPECT_EQ(fresh.text(), QStringLiteral("2/10"));
    EXPECT_EQ(fresh.star(), PasswordQuality::Star::Red);
    fresh.SetQualityValue(0);
    EXPECT_EQ(fresh.text(), QStringLiteral("1/10"));
    fresh.SetQualityValue(6);
    EXPECT_EQ(fresh.star(), PasswordQuality::Star::Green);
    fresh.SetQualityValue(4);
    EXPECT_EQ(fresh.star(), PasswordQuality::Star::Yellow);
}
