#include "foundation/Value.h"

#include <gtest/gtest.h>

using namespace qv;

TEST(AbsentKeyRule, SettingAbsentRemovesAndMissingReadsAsZero) {
    Dictionary record{{QStringLiteral("name"), Value("Bank")}, {QStringLiteral("usageCount"), Value::integer(3)}};
    record.set(QStringLiteral("usageCount"), Value());
    EXPECT_FALSE(record.contains(QStringLiteral("usageCount")));
    EXPECT_EQ(record.count(), 1);

    const Value missing = record.value(QStringLiteral("pin"));
    EXPECT_TRUE(missing.isAbsent());
    EXPECT_EQ(missing.toInt64(), 0);
    EXPECT_EQ(missing.toDouble(), 0.0);
    EXPECT_FALSE(missing.toBool());
    EXPECT_EQ(missing.toString(), QString());
    EXPECT_TRUE(missing.toDictionary().isEmpty());
}

TEST(Dictionary, KeepsInsertionOrderAndPlaceOnReplaceSmallOrLarge) {
    Dictionary d;
    for (const char* k : {"name", "account", "url", "userID"}) d.set(QString::fromLatin1(k), Value(k));
    d.set(QStringLiteral("account"), Value("changed"));
    d.remove(QStringLiteral("name"));
    d.set(QStringLiteral("name"), Value("again"));
    EXPECT_EQ(d.keys(), (QStringList{QStringLiteral("account"), QStringLiteral("url"), QStringLiteral("userID"),
                                     QStringLiteral("name")}));
    EXPECT_EQ(d.value(QStringLiteral("account")).toString(), QStringLiteral("changed"));

    // Past a couple of dozen keys an index is used; removals must keep it in step.
    d = Dictionary();
    for (int i = 0; i < 200; ++i) d.set(QStringLiteral("k%1").arg(i), Value::integer(i));
    for (int i = 0; i < 200; i += 3) d.remove(QStringLiteral("k%1").arg(i));
    for (int i = 0; i < 200; ++i) {
        const Value v = d.value(QStringLiteral("k%1").arg(i));
        if (i % 3 == 0) {
            EXPECT_TRUE(v.isAbsent()) << i;
        } else {
            EXPECT_EQ(v.toInt64(), i) << i;
        }
    }
    d.set(QStringLiteral("k1"), Value::integer(-1));
    EXPECT_EQ(d.keyAt(0), QStringLiteral("k1"));
    EXPECT_EQ(d.value(QStringLiteral("k1")).toInt64(), -1);
}

TEST(KeyPath, WalksNestedDictionariesByReference) {
    Dictionary category{{QStringLiteral("cat_category"), Value("Work")}};
    Dictionary record{{QStringLiteral("categoryPtr"), Value(category)}};
    EXPECT_EQ(record.valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString(), QStringLiteral("Work"));
    // The record holds the very category: renaming it through the path renames it everywhere.
    record.setValueForKeyPath(QStringLiteral("categoryPtr.cat_category"), Value("Home"));
    EXPECT_EQ(category.value(QStringLiteral("cat_category")).toString(), QStringLiteral("Home"));
    // A step that is not a dictionary gives absent, and setting through it does nothing.
    EXPECT_TRUE(record.valueForKeyPath(QStringLiteral("categoryPtr.cat_category.x")).isAbsent());
    record.setValueForKeyPath(QStringLiteral("missing.key"), Value("x"));
    EXPECT_FALSE(record.contains(QStringLiteral("missing")));
}

TEST(Equality, DeepEqualityIdentityAndStrictnessAreDifferentQuestions) {
    Dictionary a{{QStringLiteral("cat_category"), Value("Generic")}};
    Dictionary b{{QStringLiteral("cat_category"), Value("Generic")}};
    Array list{Value(a)};
    EXPECT_TRUE(Value(a) == Value(b));
    EXPECT_FALSE(Value(a).isIdenticalTo(Value(b)));
    EXPECT_EQ(list.indexOf(Value(b)), 0);
    EXPECT_EQ(list.indexOfIdentical(Value(b)), -1);
    EXPECT_EQ(list.indexOfIdentical(Value(a)), 0);

    // Key order does not matter to equality, only to strict comparison.
    Dictionary c{{QStringLiteral("x"), Value::integer(1)}, {QStringLiteral("y"), Value::integer(2)}};
    Dictionary d{{QStringLiteral("y"), Value::integer(2)}, {QStringLiteral("x"), Value::integer(1)}};
    EXPECT_TRUE(Value(c) == Value(d));
    EXPECT_FALSE(isStrictlyEqual(Value(c), Value(d)));

    // Numbers compare by value but keep their nature.
    EXPECT_TRUE(Value::integer(1) == Value::real(1.0));
    EXPECT_TRUE(Value::integer(1) == Value::boolean(true));
    EXPECT_FALSE(isStrictlyEqual(Value::integer(1), Value::boolean(true)));
    EXPECT_FALSE(isStrictlyEqual(Value::real(0.5), Value::real32(0.5f)));
    EXPECT_FALSE(Value::unsignedInteger(UINT64_MAX) == Value::integer(-1));
    EXPECT_TRUE(Value::unsignedInteger(5).isInteger());
    EXPECT_FALSE(Value::unsignedInteger(5).isUnsignedInteger());  // fits the signed range
    EXPECT_FALSE(Value("1") == Value::integer(1));
}

TEST(Copies, ShallowSharesContentsDeepDoesNot) {
    Dictionary inner{{QStringLiteral("k"), Value("v")}};
    Array outer{Value(inner)};
    Array shallow = outer.shallowCopy();
    Array deep = outer.deepCopy();
    inner.set(QStringLiteral("k"), Value("changed"));
    EXPECT_EQ(shallow.at(0).toDictionary().value(QStringLiteral("k")).toString(), QStringLiteral("changed"));
    EXPECT_EQ(deep.at(0).toDictionary().value(QStringLiteral("k")).toString(), QStringLiteral("v"));
    shallow.append(Value("x"));
    EXPECT_EQ(outer.count(), 1);
}

TEST(Conversions, ReadLikeTheOriginalAccessors) {
    EXPECT_EQ(Value("  42abc").toInt64(), 42);
    EXPECT_EQ(Value("-7").toInt(), -7);
    EXPECT_EQ(Value::real(3.99).toInt64(), 3);
    EXPECT_EQ(Value::real(-3.99).toInt(), -3);
    EXPECT_EQ(Value::integer(0x1'0000'0005).toInt(), 5);  // intValue truncates like a C cast
    // A string is YES when, after white space, it starts with Y, y, T, t or a digit 1-9.
    EXPECT_TRUE(Value("YES").toBool());
    EXPECT_TRUE(Value(" \t9").toBool());
    EXPECT_TRUE(Value("true").toBool());
    EXPECT_FALSE(Value("no").toBool());
    EXPECT_FALSE(Value("000").toBool());
    EXPECT_FALSE(Value("01").toBool());
    EXPECT_FALSE(Value("+1").toBool());
    EXPECT_FALSE(Value(" -7").toBool());
    EXPECT_EQ(Value::integer(40100).toString(), QStringLiteral("40100"));
    EXPECT_EQ(Value::unsignedInteger(UINT64_MAX).toString(), QStringLiteral("18446744073709551615"));
    EXPECT_EQ(Value("2.5e1").toDouble(), 25.0);
    // A string holds UTF-16 units, so a character outside the BMP counts two.
    EXPECT_EQ(Value(QString::fromUtf8("a\xF0\x9F\x94\x91")).stringRef().size(), 3);
}
