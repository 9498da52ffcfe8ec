#include "passwordtools/ZKPasswordMaker.h"

#include <QSet>

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
