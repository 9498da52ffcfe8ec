#pragma once

#include "foundation/Value.h"

#include <gtest/gtest.h>

namespace qv::test {

// A tree with every kind a document holds, and the edges of each: negative and unsigned 64-bit
// integers, 4- and 8-byte reals, booleans next to the integers 0 and 1, a date with a fraction
// below a microsecond, characters outside the BMP, empty and long containers.
inline Value everyKindTree(bool withRect) {
    Dictionary root;
    root.set(QStringLiteral("ascii"), Value("plain text"));
    root.set(QStringLiteral("unicode"), Value(QString::fromUtf8("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x91 \xF0\x9D\x84\x9E")));
    root.set(QStringLiteral("empty"), Value(QString()));
    root.set(QStringLiteral("zero"), Value::integer(0));
    root.set(QStringLiteral("one"), Value::integer(1));
    root.set(QStringLiteral("yes"), Value::boolean(true));
    root.set(QStringLiteral("no"), Value::boolean(false));
    root.set(QStringLiteral("byte"), Value::integer(255));
    root.set(QStringLiteral("short"), Value::integer(65535));
    root.set(QStringLiteral("int"), Value::integer(4294967295LL));
    root.set(QStringLiteral("long"), Value::integer(4294967296LL));
    root.set(QStringLiteral("negative"), Value::integer(-1));
    root.set(QStringLiteral("min"), Value::integer(INT64_MIN));
    root.set(QStringLiteral("max"), Value::integer(INT64_MAX));
    root.set(QStringLiteral("unsigned"), Value::unsignedInteger(UINT64_MAX));
    root.set(QStringLiteral("unsignedLow"), Value::unsignedInteger(9223372036854775808ULL));
    root.set(QStringLiteral("double"), Value::real(0.1));
    root.set(QStringLiteral("float"), Value::real32(0.1f));
    root.set(QStringLiteral("wholeDouble"), Value::real(2.0));
    root.set(QStringLiteral("tiny"), Value::real(-4.9406564584124654e-324));
    root.set(QStringLiteral("date"), Value::date(786541234.123456789));
    root.set(QStringLiteral("negativeDate"), Value::date(-31622400.5));
    root.set(QStringLiteral("data"), Value::data(QByteArray("\x00\x01\xFFsecret", 9)));
    root.set(QStringLiteral("emptyData"), Value::data(QByteArray()));
    if (withRect) root.set(QStringLiteral("frame"), Value::rect(Rect{10, 20.5, 800, 600.25}));
    Array list;
    for (int i = 0; i < 40; ++i) list.append(Value::integer(i * 1000));
    root.set(QStringLiteral("list"), Value(list));
    root.set(QStringLiteral("emptyList"), Value(Array()));
    Dictionary nested{{QStringLiteral("inner"), Value(Array{Value("a"), Value(Dictionary())})}};
    root.set(QStringLiteral("nested"), Value(nested));
    return Value(root);
}

inline void expectStrictlyEqual(const Value& expected, const Value& actual) {
    EXPECT_TRUE(isStrictlyEqual(expected, actual)) << "expected " << describe(expected).toStdString() << "\n  actual "
                                                   << describe(actual).toStdString();
}

}  // namespace qv::test
