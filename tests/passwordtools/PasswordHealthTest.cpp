#include "passwordtools/PasswordHealth.h"
#include "passwordtools/ZKPasswordMaker.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

using namespace qv;

namespace {

constexpr double kNow = 800'000'000;  // seconds since 2001, in 2026
constexpr double kDay = 86400;

HealthEntry entry(qsizetype index, const QString& password, bool login = true, double ageDays = 10) {
    HealthEntry e;
    e.index = index;
    e.name = QStringLiteral("record %1").arg(index);
    e.password = password;
    e.hasLogin = login;
    e.hasModificationDate = ageDays >= 0;
    e.modified = ageDays >= 0 ? kNow - ageDays * kDay : 0;
    return e;
}

// The generator's type found by searching its alphabets one character at a time: what the rating
// must always agree with, however it is worked out.
int typeTagBySearch(const QString& password) {
    static const ZKPasswordMaker a;
    bool lower = false, upper = false, digit = false, punct = false, other = false, hex = true;
    for (QChar c : password) {
        if (a.lowercaseAlphaString.contains(c)) lower = true;
        else if (a.uppercaseAlphaString.contains(c)) upper = true;
        else if (a.numericString.contains(c)) digit = true;
        else if (a.punctuationString.contains(c)) punct = true;
        else other = true;
        hex = hex && a.exadecimalString.contains(c);
    }
    if (other || (lower && upper && punct)) return 40;
    if (punct) return upper ? 42 : 41;
    if (lower && upper) return digit ? 20 : 10;
    if (lower) return digit ? 21 : 11;
    if (upper) return hex && digit ? 52 : digit ? 22 : 11;
    return 30;
}

}  // namespace

// A stored password is rated as the generator would rate a password of its kind and length.
TEST(PasswordHealth, StoredPasswordsAreRatedByTheirAlphabetAndLength) {
    const std::pair<const char*, int> kinds[] = {
        {"123", 30},   {"abc", 11},        {"ABC", 11},        {"abc123", 21},   {"XYZ123", 22},
        {"DEAD12", 52}, {"aB", 10},        {"aB1", 20},        {"a!1", 41},      {"A!1", 42},
        {"aA!", 40},   {"caf\u00e9", 40},  {"with space", 40}, {"Hotel", 40}};
    for (const auto& [password, tag] : kinds) EXPECT_EQ(PasswordHealth::typeTagFor(QString::fromUtf8(password)), tag) << password;
    // Twelve of every kind: the stars are the generator's, one less than its rating.
    EXPECT_EQ(PasswordHealth::starsFor(QStringLiteral("aB3$aB3$aB3$")), 4);  // tag 40, as the generator's 4/10
    EXPECT_EQ(PasswordHealth::starsFor(QStringLiteral("123456")), 1);
    EXPECT_EQ(PasswordHealth::starsFor(QString(42, QLatin1Char('$')) + QStringLiteral("aZ")), 10);
}

// Each finding on a document built to have it, and nothing on the records that are fine.
TEST(PasswordHealth, FindsWeakReusedOldAndEmpty) {
    const QString strong = QStringLiteral("Xk9#mQ2$vL7@pR4!");
    const QString shared = QStringLiteral("Tq8%wN3&zB6*yK1+");
    const QString other = QStringLiteral("Lm5=Fc7/Gd2?Hs9@");
    const std::vector<HealthEntry> entries = {
        entry(0, strong),
        entry(1, QStringLiteral("123456")),          // every reason at once
        entry(2, QStringLiteral("password1234")),    // long enough, but a word and digits
        entry(3, QStringLiteral("Zp4!Zp")),          // a good mix, but short
        entry(4, shared), entry(5, other), entry(6, shared), entry(7, shared), entry(8, other),
        entry(9, QString(), true),                   // a login and no password
        entry(10, QString(), false),                 // nothing to log in with: not a finding
        entry(11, QStringLiteral("Vr3$Nn8&Jj2%Bb7!"), true, 400),  // old
        entry(12, QStringLiteral("Wr3$Nn8&Jj2%Bb7!"), true, 300),  // not yet
        entry(13, QStringLiteral("Yr3$Nn8&Jj2%Bb7!"), true, -1),   // no date at all: never old
    };
    const HealthReport r = PasswordHealth::examine(entries, kNow, 365);

    std::map<qsizetype, WeakPassword> weak;
    for (const WeakPassword& w : r.weak) weak[w.index] = w;
    ASSERT_EQ(weak.size(), 3u) << r.weak.size();
    EXPECT_EQ(weak[1].reason, QStringLiteral("low rating, shorter than 8 characters, easy to guess"));
    EXPECT_EQ(weak[1].stars, 1);
    EXPECT_LT(weak[1].bits, 10);
    EXPECT_TRUE(weak[2].reason.contains(QStringLiteral("easy to guess")));
    EXPECT_FALSE(weak[2].reason.contains(QStringLiteral("shorter")));
    EXPECT_TRUE(weak[3].reason.startsWith(QStringLiteral("low rating, shorter than 8 characters"))) << weak[3].bits;
    EXPECT_GT(PasswordHealth::estimatedBits(strong), PasswordHealth::kWeakBits);

    ASSERT_EQ(r.reused.size(), 2u);
    EXPECT_EQ(r.reused[0], (std::vector<qsizetype>{4, 6, 7}));  // the larger group first
    EXPECT_EQ(r.reused[1], (std::vector<qsizetype>{5, 8}));
    EXPECT_EQ(r.old, std::vector<qsizetype>{11});
    EXPECT_EQ(r.empty, std::vector<qsizetype>{9});
    EXPECT_FALSE(r.isClean());

    // A shorter threshold finds the 300-day-old one too; a clean document has nothing.
    EXPECT_EQ(PasswordHealth::examine(entries, kNow, 200).old, (std::vector<qsizetype>{11, 12}));
    EXPECT_TRUE(PasswordHealth::examine({entry(0, strong), entry(1, other)}, kNow, 365).isClean());
}

// Enough distinct passwords to be estimated on two threads give the same answers as one by one.
TEST(PasswordHealth, ManyPasswordsAreEstimatedAlikeOnTwoThreads) {
    std::vector<HealthEntry> entries;
    for (int i = 0; i < 300; ++i)
        entries.push_back(entry(i, i % 3 == 0 ? QStringLiteral("summer%1").arg(i) : QStringLiteral("Gq7!xT%1#pL2$wZ").arg(i)));
    const HealthReport r = PasswordHealth::examine(entries, kNow, 365);
    ASSERT_EQ(r.weak.size(), 100u);
    for (const WeakPassword& w : r.weak) {
        EXPECT_EQ(w.index % 3, 0);
        EXPECT_DOUBLE_EQ(w.bits, PasswordHealth::estimatedBits(entries[size_t(w.index)].password));
    }
    // A cancelled examination stops early and reports nothing weak.
    EXPECT_TRUE(PasswordHealth::examine(entries, kNow, 365, [] { return true; }).weak.empty());
}

// Every character, alone and beside characters of each alphabet, gets the type a search of the
// alphabets gives; and the stars of every type and length, short or very long, are the generator's.
TEST(PasswordHealth, RatingAgreesWithTheGeneratorForEveryCharacterAndLength) {
    const QString companions[] = {QString(), QStringLiteral("a"), QStringLiteral("B"), QStringLiteral("7"),
                                  QStringLiteral("#"), QStringLiteral("F3"), QStringLiteral("aB")};
    for (char32_t u = 0; u < 0x10000; ++u) {
        const QChar c{char16_t(u)};
        for (const QString& with : companions) {
            const QString password = QString(c) + with;
            ASSERT_EQ(PasswordHealth::typeTagFor(password), typeTagBySearch(password)) << int(u) << " with " << with.toStdString();
        }
    }
    const QString nonBmp = QString::fromUcs4(U"\U0001F600x");
    EXPECT_EQ(PasswordHealth::typeTagFor(nonBmp), typeTagBySearch(nonBmp));

    const QString kinds[] = {QStringLiteral("a"), QStringLiteral("aB"), QStringLiteral("a1"), QStringLiteral("A1"),
                             QStringLiteral("A"), QStringLiteral("1"), QStringLiteral("a!"), QStringLiteral("A!"),
                             QStringLiteral("aB!"), QStringLiteral("A1F"), QStringLiteral("\u00e9")};
    for (const QString& kind : kinds)
        for (int length = 1; length <= 300; ++length) {
            QString password;
            while (password.size() < length) password += kind;
            password.truncate(length);
            const int expected =
                std::clamp(ZKPasswordMaker::calcStarNumberFromTypeTag(typeTagBySearch(password), length) - 1, 1, 10);
            ASSERT_EQ(PasswordHealth::starsFor(password), expected) << password.toStdString();
        }
}

// Equal passwords are grouped, and only equal ones, whatever they look like: many random ones
// with repeats among them, passwords that differ in one character anywhere, by a trailing
// character or by a character outside the first plane, checked against an ordered map.
TEST(PasswordHealth, GroupsExactlyTheEqualPasswords) {
    std::mt19937 rng(11);
    std::vector<QString> pool;
    for (int i = 0; i < 400; ++i) {
        QString p(int(1 + rng() % 12), Qt::Uninitialized);
        for (QChar& c : p) c = QChar(char16_t('a' + rng() % 3));  // few letters, so many near misses
        pool.push_back(p);
    }
    const QString base = QStringLiteral("Gq7!xT9#pL2$wZ");
    for (int at = 0; at < base.size(); ++at) {
        QString p = base;
        p[at] = QLatin1Char('_');
        pool.push_back(p);
    }
    pool.push_back(base);
    pool.push_back(base + QChar(u'\0'));
    pool.push_back(base + QString::fromUcs4(U"\U0001F600"));
    pool.push_back(base + QString::fromUcs4(U"\U0001F601"));

    std::vector<HealthEntry> entries;
    std::map<QString, std::vector<qsizetype>> expected;
    for (int i = 0; i < 3000; ++i) {
        const QString& p = pool[rng() % pool.size()];
        entries.push_back(entry(i, i % 97 == 0 ? QString() : p));
        if (i % 97 != 0) expected[p].push_back(i);
    }
    const HealthReport r = PasswordHealth::examine(entries, kNow, 365);

    std::vector<std::vector<qsizetype>> groups;
    for (const auto& [password, users] : expected)
        if (users.size() > 1) groups.push_back(users);
    std::vector<std::vector<qsizetype>> found = r.reused;
    std::sort(groups.begin(), groups.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, groups);
    for (size_t i = 1; i < r.reused.size(); ++i) {
        EXPECT_GE(r.reused[i - 1].size(), r.reused[i].size());
        // Groups of one size keep the order in which their passwords first appear.
        if (r.reused[i - 1].size() == r.reused[i].size()) {
            EXPECT_LT(r.reused[i - 1][0], r.reused[i][0]);
        }
    }
    EXPECT_EQ(r.empty.size(), size_t((3000 + 96) / 97));
}
