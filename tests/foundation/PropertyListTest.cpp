#include "foundation/PropertyList.h"

#include "support/ResultText.h"
#include "support/SampleValues.h"

#include <gtest/gtest.h>

#include <random>

using namespace qv;

namespace {

QByteArray binary(const Value& v) {
    auto bytes = writeBinaryPropertyList(v);
    EXPECT_TRUE(bytes.ok()) << test::failureText(bytes).toStdString();
    return bytes ? *bytes : QByteArray();
}

struct Trailer {
    int offsetSize, refSize;
    quint64 objects, top, offsetTable;
};

Trailer trailerOf(const QByteArray& b) {
    auto u = [&](qsizetype at) {
        quint64 v = 0;
        for (int i = 0; i < 8; ++i) v = (v << 8) | quint8(b[at + i]);
        return v;
    };
    const qsizetype t = b.size() - 32;
    return Trailer{quint8(b[t + 6]), quint8(b[t + 7]), u(t + 8), u(t + 16), u(t + 24)};
}

// A hand-made list: "bplist00", the objects, the offset table and the trailer; offsets and
// references are `size` bytes wide, the top object is the first.
QByteArray handMade(const QByteArray& objects, const QList<int>& offsets, int size = 1) {
    QByteArray b = QByteArrayLiteral("bplist00") + objects;
    auto put = [&b](quint64 v, int bytes) {
        for (int i = bytes - 1; i >= 0; --i) b.append(char((v >> (8 * i)) & 0xFF));
    };
    const quint64 table = quint64(b.size());
    for (int o : offsets) put(quint64(o), size);
    b.append(QByteArray(6, '\0'));
    b.append(char(size));
    b.append(char(size));
    for (quint64 v : {quint64(offsets.size()), quint64(0), table}) put(v, 8);
    return b;
}

}  // namespace

TEST(BinaryPropertyList, EveryKindRoundTripsExactly) {
    const Value tree = test::everyKindTree(false);
    auto back = readBinaryPropertyList(binary(tree));
    ASSERT_TRUE(back) << test::failureText(back).toStdString();
    test::expectStrictlyEqual(tree, *back);
}

// A large data object (a document's enciphered records) is handed out without a copy, sharing the
// buffer read; it must still behave as bytes of its own, whoever writes to either side.
TEST(BinaryPropertyList, LargeDataSharesTheBufferReadYetStaysItsOwn) {
    QByteArray large(3 << 20, '\0');
    for (qsizetype i = 0; i < large.size(); ++i) large[i] = char(i * 7 + i / 4096);
    const QByteArray small = QByteArrayLiteral("salt and vector");
    QByteArray file = binary(Value(Array{Value::data(small), Value::data(large)}));
    const char* const fileStart = file.constData();

    auto back = readBinaryPropertyList(file);
    ASSERT_TRUE(back);
    QByteArray readLarge = back->toArray().at(1).toData();
    EXPECT_EQ(back->toArray().at(0).toData(), small);
    EXPECT_EQ(readLarge, large);
    EXPECT_TRUE(readLarge.constData() > fileStart && readLarge.constData() < fileStart + file.size());

    // Writing to the file's buffer or to the block leaves the other as it was.
    file.fill('x');
    EXPECT_EQ(back->toArray().at(1).toData(), large);
    *back = Value();
    file = QByteArray();
    const char* const where = readLarge.constData();
    readLarge[0] = '!';  // now the buffer's only holder: changed where it lies
    EXPECT_EQ(readLarge.constData(), where);
    EXPECT_EQ(readLarge.mid(1), large.mid(1));
    EXPECT_EQ(readLarge.size(), large.size());

    // Bytes the reader does not own (a view of someone else's memory) are copied as before.
    const QByteArray again = binary(Value(Array{Value::data(large)}));
    auto fromView = readBinaryPropertyList(QByteArray::fromRawData(again.constData(), again.size()));
    ASSERT_TRUE(fromView);
    const QByteArray copied = fromView->toArray().at(0).toData();
    EXPECT_EQ(copied, large);
    EXPECT_FALSE(copied.constData() >= again.constData() && copied.constData() < again.constData() + again.size());
}

TEST(BinaryPropertyList, SizesFollowTheCountsAsThePublishedWriterChoosesThem) {
    // Reference size follows the number of objects, offset size the offset table's position.
    Array small;
    for (int i = 0; i < 200; ++i) small.append(Value::integer(i));
    Trailer t = trailerOf(binary(Value(small)));
    EXPECT_EQ(t.refSize, 1);
    EXPECT_EQ(t.offsetSize, 2);  // the table starts past byte 255
    EXPECT_EQ(t.objects, 201u);

    Array medium;
    for (int i = 0; i < 300; ++i) medium.append(Value::integer(i));
    t = trailerOf(binary(Value(medium)));
    EXPECT_EQ(t.refSize, 2);
    EXPECT_EQ(t.offsetSize, 2);

    Array big;
    for (int i = 0; i < 70000; ++i) big.append(Value(QStringLiteral("s%1").arg(i)));
    const QByteArray bytes = binary(Value(big));
    t = trailerOf(bytes);
    EXPECT_EQ(t.refSize, 4);
    EXPECT_EQ(t.offsetSize, 4);
    EXPECT_EQ(t.top, 0u);
    auto back = readBinaryPropertyList(bytes);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->toArray().at(69999).toString(), QStringLiteral("s69999"));
}

TEST(BinaryPropertyList, EqualScalarsAreStoredOnceContainersNever) {
    Array a;
    for (int i = 0; i < 10; ++i) a.append(Value("same"));
    for (int i = 0; i < 10; ++i) a.append(Value(Array()));
    a.append(Value::integer(1));
    a.append(Value::boolean(true));  // a boolean is not the integer 1
    a.append(Value::real(1.0));      // nor is a real
    // array + "same" + 10 arrays + 1 + true + 1.0
    EXPECT_EQ(trailerOf(binary(Value(a))).objects, 15u);

    // Enough numbers and dates for the writer's table to grow many times, each given twice.
    Array many;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 3000; ++i) {
            many.append(Value::integer(i));
            many.append(Value::real(i + 0.5));
            many.append(Value::date(700000000.0 + i * 37.5));
        }
    }
    const QByteArray manyBytes = binary(Value(many));
    EXPECT_EQ(trailerOf(manyBytes).objects, 1u + 3 * 3000);
    EXPECT_TRUE(isStrictlyEqual(*readBinaryPropertyList(manyBytes), Value(many)));

    // UIDs are stored once whether small (an archive's own) or stray and large.
    Array uids;
    for (const std::uint64_t u : {std::uint64_t(5), std::uint64_t(1) << 25, std::uint64_t(1) << 40})
        for (int i = 0; i < 2; ++i) uids.append(Value(Dictionary{{QStringLiteral("CF$UID"), Value::unsignedInteger(u)}}));
    const QByteArray written = binary(Value(uids));
    EXPECT_EQ(trailerOf(written).objects, 4u);
    const auto back = readBinaryPropertyList(written);
    ASSERT_TRUE(back) << test::failureText(back).toStdString();
    EXPECT_TRUE(isStrictlyEqual(*back, Value(uids)));
}

TEST(BinaryPropertyList, RefusesWhatHasNoPropertyListForm) {
    const auto rect = writeBinaryPropertyList(Value::rect(Rect{}));
    EXPECT_FALSE(rect);
    EXPECT_FALSE(test::failureText(rect).isEmpty());
    Array loop;
    loop.append(Value(loop));
    EXPECT_FALSE(writeBinaryPropertyList(Value(loop)));
    loop.clear();  // break the cycle so the test does not leak it
}

TEST(BinaryPropertyListDamage, TruncationAndRandomCorruptionFailCleanly) {
    const QByteArray good = binary(test::everyKindTree(false));
    for (qsizetype n = 0; n < good.size(); ++n) {
        // A prefix keeps no valid trailer; at most it may happen to parse, never crash.
        if (const auto read = readBinaryPropertyList(good.left(n)); !read) {
            EXPECT_FALSE(read.message().isEmpty()) << n;
        }
    }
    std::mt19937 rng(12345);
    int failures = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray bad = good;
        const int flips = 1 + int(rng() % 4);
        for (int i = 0; i < flips; ++i) bad[qsizetype(rng() % quint32(bad.size()))] = char(rng() & 0xFF);
        if (const auto read = readBinaryPropertyList(bad); !read) {
            ++failures;
            EXPECT_FALSE(read.message().isEmpty());
        }
    }
    EXPECT_GT(failures, 0);
}

TEST(BinaryPropertyListDamage, LoopsAbsurdCountsAndDeepNestingAreRefused) {
    // An array whose only element is itself.
    const auto loop = readBinaryPropertyList(handMade(QByteArray::fromHex("a100"), {8}));
    EXPECT_FALSE(loop);
    EXPECT_TRUE(test::failureText(loop).contains(QStringLiteral("itself"))) << test::failureText(loop).toStdString();

    // An array that claims 2^40 elements in a few bytes.
    EXPECT_FALSE(readBinaryPropertyList(handMade(QByteArray::fromHex("af130000010000000000"), {8})));

    // A reference past the last object, and an offset into the trailer.
    EXPECT_FALSE(readBinaryPropertyList(handMade(QByteArray::fromHex("a105"), {8})));
    EXPECT_FALSE(readBinaryPropertyList(handMade(QByteArray::fromHex("a100"), {200})));

    // 600 arrays, each holding the next, with two-byte references and offsets.
    QByteArray nested;
    QList<int> offsets;
    for (int i = 1; i <= 600; ++i) {
        offsets.append(8 + int(nested.size()));
        nested += i < 600 ? QByteArray(1, char(0xA1)) + char(i >> 8) + char(i & 0xFF) : QByteArray(1, char(0xA0));
    }
    const auto deep = readBinaryPropertyList(handMade(nested, offsets, 2));
    EXPECT_FALSE(deep);
    EXPECT_TRUE(test::failureText(deep).contains(QStringLiteral("deep"))) << test::failureText(deep).toStdString();
}

TEST(XmlPropertyList, ReadsEveryElement) {
    // Reals and dates are read from lists plistlib writes in plist_interop.py.
    const QByteArray xml = QByteArrayLiteral(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\"><dict>\n"
        "  <key>LRA</key><integer>40300</integer>\n"
        "  <key>GFU</key><string>http://example.invalid/get &amp; go</string>\n"
        "  <key>neg</key><integer>-12</integer>\n"
        "  <key>big</key><integer>18446744073709551615</integer>\n"
        "  <key>t</key><true/><key>f</key><false/>\n"
        "  <key>bytes</key><data>\n  AAEC\n  /w==\n</data>\n"
        "  <key>list</key><array><string>x</string><dict/></array>\n"
        "</dict></plist>\n");
    auto v = readPropertyList(xml);
    ASSERT_TRUE(v) << test::failureText(v).toStdString();
    const Dictionary d = v->toDictionary();
    EXPECT_EQ(d.keys().first(), QStringLiteral("LRA"));
    EXPECT_EQ(d.value(QStringLiteral("LRA")).toInt64(), 40300);
    EXPECT_EQ(d.value(QStringLiteral("GFU")).toString(), QStringLiteral("http://example.invalid/get & go"));
    EXPECT_EQ(d.value(QStringLiteral("neg")).toInt64(), -12);
    EXPECT_TRUE(d.value(QStringLiteral("big")).isUnsignedInteger());
    EXPECT_TRUE(d.value(QStringLiteral("t")).isBoolean() && d.value(QStringLiteral("t")).toBool());
    EXPECT_FALSE(d.value(QStringLiteral("f")).toBool());
    EXPECT_EQ(d.value(QStringLiteral("bytes")).toData(), QByteArray::fromHex("000102ff"));
    EXPECT_EQ(d.value(QStringLiteral("list")).toArray().count(), 2);
}

TEST(XmlPropertyList, DamagedXmlIsRefused) {
    for (const char* bad : {"<plist><dict><key>a</key></dict></plist>", "<plist><integer>x</integer></plist>",
                            "<plist><dict><string>no key</string></dict></plist>", "<plist><array>",
                            "<html></html>", "<plist><date>yesterday</date></plist>", "<plist><unknown/></plist>"}) {
        const auto read = readPropertyList(QByteArray(bad));
        EXPECT_FALSE(read) << bad;
        EXPECT_FALSE(test::failureText(read).isEmpty()) << bad;
    }
    EXPECT_FALSE(readPropertyList(QByteArrayLiteral("not a list at all")));
}
