#include "foundation/TypedStream.h"

#include "support/ResultText.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace qv;

namespace {

QByteArray real(float f) {
    QByteArray b("\x83");
    char raw[4];
    std::memcpy(raw, &f, 4);
    return b + QByteArray(raw, 4);
}

// An RGB colour as the old archiver wrote it; `body` replaces the components when given.
QByteArray colorStream(const QByteArray& components, char space = 1, const char* cls = "NSColor") {
    QByteArray d("\x04\x0bstreamtyped\x81\xe8\x03");
    d += QByteArray("\x84\x01@");
    d += QByteArray("\x84\x84\x84") + char(std::strlen(cls)) + cls + QByteArray(1, '\0');
    d += QByteArray("\x84\x84\x08NSObject\x00\x85", 13);
    d += QByteArray("\x84\x01" "c") + space;
    d += components;
    return d + QByteArray("\x86");
}

}  // namespace

TEST(TypedStream, ColoursOfEachSpace) {
    // RGB in space 1 and grey in space 3, in one group of reals and whole numbers, are read
    // from independently written files in legacy_interop.py.
    const auto grey = TypedStream::decodeColor(colorStream(QByteArray("\x84\x02" "ff") + real(0.5f) + "\x01", 4));
    ASSERT_TRUE(grey);
    EXPECT_DOUBLE_EQ(grey->g, 0.5);
    // One group per component reads the same, and a second use of a type refers back to it.
    const auto split = TypedStream::decodeColor(
        colorStream(QByteArray("\x84\x01" "f") + real(0.125f) + QByteArray("\x96\x00\x96\x00\x96\x01", 6), 2));
    ASSERT_TRUE(split);
    EXPECT_DOUBLE_EQ(split->r, 0.125);
    EXPECT_DOUBLE_EQ(split->a, 1);
    // Big-endian streams carry the other signature.
    QByteArray be = colorStream(QByteArray("\x84\x04" "ffff\x00\x00\x00", 9) + QByteArray("\x83\x3f\x00\x00\x00", 5));
    be.replace(2, 11, "typedstream");
    const auto big = TypedStream::decodeColor(be);
    ASSERT_TRUE(big);
    EXPECT_DOUBLE_EQ(big->a, 0.5);
}

TEST(TypedStream, RefusesWhatIsNotAColour) {
    const auto empty = TypedStream::decodeColor(QByteArray());
    EXPECT_FALSE(empty);
    EXPECT_FALSE(test::failureText(empty).isEmpty());
    EXPECT_FALSE(TypedStream::decodeColor(QByteArray("bplist00")));
    const auto string = TypedStream::decodeColor(colorStream(QByteArray("\x84\x04" "ffff\x00\x00\x00\x01", 10), 1, "NSString"));
    EXPECT_FALSE(string);
    EXPECT_TRUE(test::failureText(string).contains(QStringLiteral("NSString")));
    EXPECT_FALSE(TypedStream::decodeColor(colorStream(QByteArray("\x84\x01" "f\x01", 4))));  // too few
    EXPECT_FALSE(TypedStream::decodeColor(colorStream(QByteArray("\x84\x01" "f\x01", 4), 6)));  // named
    EXPECT_FALSE(TypedStream::decodeColor(colorStream(QByteArray("\x84\x01" "f\xa0", 4))));  // no such string
    EXPECT_FALSE(TypedStream::decodeColor(colorStream(QByteArray("\x84\x7f" "ffff", 6))));  // length past the end
    EXPECT_FALSE(TypedStream::decodeColor(colorStream(QByteArray("\x84\x04" "ffff") + real(NAN) + "\x01\x01\x01")));
    // A colour space number far beyond any int: refused with a reason, no undefined conversion.
    QByteArray huge = colorStream(QByteArray("\x84\x04" "ffff") + real(0.25f) + real(0.5f) + "\x01\x01");
    huge.replace(QByteArray("\x84\x01" "c\x01"), QByteArray("\x84\x01" "f") + real(-2.8e14f));
    const auto space = TypedStream::decodeColor(huge);
    EXPECT_FALSE(space);
    EXPECT_TRUE(test::failureText(space).contains(QStringLiteral("colour space"))) << test::failureText(space).toStdString();
    // Objects inside objects, deeper than any colour: refused, not followed.
    QByteArray deep = colorStream(QByteArray("\x84\x01@"));
    deep.chop(1);
    for (int i = 0; i < 40; ++i) deep += QByteArray("\x84\x93\x92");
    EXPECT_FALSE(TypedStream::decodeColor(deep));

    // Every cut and every changed byte of a good stream ends in an answer, never a crash.
    const QByteArray good = colorStream(QByteArray("\x84\x04" "ffff") + real(0.25f) + real(0.5f) + "\x01\x01");
    for (int n = 0; n < good.size(); ++n) EXPECT_FALSE(TypedStream::decodeColor(good.left(n))) << n;
    for (int i = 0; i < good.size(); ++i)
        for (int v : {0x00, 0x7f, 0x81, 0x82, 0x84, 0x85, 0x86, 0x92, 0xff}) {
            QByteArray bad = good;
            bad[i] = char(v);
            (void)TypedStream::decodeColor(bad);
        }
}
