#include "shell/MyAppDelegate.h"
#include "shell/ZKDragDropView.h"
#include "shell/ZKStringUtils.h"
#include "shell/ZKValueTransformers.h"

#include "foundation/ZKAppSupportUtility.h"
#include "support/Fakes.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

TEST(ZKStringUtils, TrimmingTouchesOnlyWhatItSaysAndTimeStringsCountSerials) {
    EXPECT_EQ(ZKStringUtils::addLeading0(QStringLiteral("abc"), 5), QStringLiteral("00abc"));
    EXPECT_EQ(ZKStringUtils::addLeading0(QStringLiteral("abc"), 2), QStringLiteral("abc"));
    EXPECT_EQ(ZKStringUtils::trimLateralSpace(QStringLiteral("  \ta b\n ")), QStringLiteral("\ta b\n"));
    EXPECT_EQ(ZKStringUtils::removeInitialSpaces(QStringLiteral(" \t\nx y")), QStringLiteral("x y"));
    EXPECT_FALSE(ZKStringUtils::removeInitialSpaces(QStringLiteral(" \t\n")));
    EXPECT_FALSE(ZKStringUtils::spaceTrimmedNotEmpy(Value(QStringLiteral("   "))));
    EXPECT_FALSE(ZKStringUtils::spaceTrimmedNotEmpy(Value()));
    EXPECT_TRUE(ZKStringUtils::spaceTrimmedNotEmpy(Value(QStringLiteral(" \t "))));
    EXPECT_EQ(ZKStringUtils::trimLateralQuote(QStringLiteral("\"\"\"a\"b\"\"")), QStringLiteral("a\"b"));
    EXPECT_EQ(ZKStringUtils::trimString(QStringLiteral("a1-b2c3"), QStringLiteral("321")), QStringLiteral("123"));

    // Time strings and their serials.
    ZKStringUtils::clock() = [] { return QDateTime(QDate(2009, 2, 3), QTime(4, 5, 6)); };
    EXPECT_EQ(ZKStringUtils::uniqueTimeString(), QStringLiteral("20090203040506"));
    EXPECT_EQ(ZKStringUtils::uniqueTimeSerialString(), QStringLiteral("200902030405060"));
    EXPECT_EQ(ZKStringUtils::uniqueTimeSerialString(), QStringLiteral("200902030405061"));
    EXPECT_EQ(ZKStringUtils::getNewSerialForTimeString(QStringLiteral("other")), QStringLiteral("0"));
    EXPECT_EQ(ZKStringUtils::getNewSerialForTimeString(QStringLiteral("20090203040506")), QStringLiteral("0"));
    const QString rand = ZKStringUtils::uniqueTimeRandString();
    EXPECT_TRUE(rand.startsWith(QStringLiteral("20090203040506")));
    EXPECT_GE(rand.size(), 14 + 5);
    ZKStringUtils::clock() = nullptr;
}

TEST(ZKAppSupportUtility, SupportMailSubjectIsEncodedForAQuery) {
    EXPECT_EQ(ZKAppSupportUtility::supportMailUrl(QStringLiteral("4.2"), QStringLiteral("12")),
              QStringLiteral("mailto:support@zenmorrow.com?subject=Support%20Request%20for%20Quorvane%204%20rel.%204.2%20-"
                             "%20macOS%2012"));
}

QVariant T(const char* name, const QVariant& v) { return ValueTransformers::transform(QLatin1String(name), v); }

TEST(ValueTransformers, RegisteredNamesCompareAsShortsAndKeepAbsent) {
    MyAppDelegate delegate;
    EXPECT_EQ(T("valueIs1", 65537), QVariant(true));  // wraps to 1
    EXPECT_EQ(T("valueIs0", 65536), QVariant(true));
    EXPECT_EQ(T("valueIs3", 3.9), QVariant(true));
    EXPECT_FALSE(T("valueNot0", QVariant()).isValid());
    EXPECT_EQ(T("valueNot0", 0), QVariant(false));
    EXPECT_EQ(T("valueNot0", QStringLiteral("2")), QVariant(true));
    EXPECT_EQ(T("ret1ifnot0", -4), QVariant(1));
    EXPECT_EQ(T("heightAmplifier", 12), QVariant(18));
    EXPECT_EQ(T("heightAmplifier", 13), QVariant(20));
    EXPECT_FALSE(T("heightAmplifier", QVariant()).isValid());
    EXPECT_EQ(T("bool2Num", true), QVariant(1));
    EXPECT_FALSE(T("noSuchName", 1).isValid());
    const auto is3 = ValueTransformers::valueTransformerForName(QStringLiteral("valueIs3"));
    EXPECT_EQ(is3->reverseTransformedValue(true), QVariant(3));
    EXPECT_FALSE(is3->reverseTransformedValue(false).isValid());
}

TEST(ValueTransformers, ClassesMadeByName) {
    auto make = [](const char* c) { return ValueTransformers::makeTransformerOfClass(QLatin1String(c)); };
    EXPECT_EQ(make("ZKValueIs1")->transformedValue(1), QVariant(true));
    auto oneIfOne = make("ZKOneIfOneInArray");
    EXPECT_EQ(oneIfOne->transformedValue(QVariantList{}), QVariant(0));
    EXPECT_EQ(oneIfOne->transformedValue(QVariantList{1}), QVariant(0));
    EXPECT_EQ(oneIfOne->transformedValue(QVariantList{1, 2}), QVariant(1));
    EXPECT_EQ(oneIfOne->transformedValue(QVariant()), QVariant(0));
    EXPECT_EQ(make("ZKEmptyTrimmedString")->transformedValue(QStringLiteral("   ")), QVariant(true));
    EXPECT_EQ(make("ZKEmptyTrimmedString")->transformedValue(QStringLiteral("\t")), QVariant(false));
    EXPECT_EQ(make("ZKFilledTrimmedString")->transformedValue(QVariant()), QVariant(false));
    EXPECT_EQ(make("ZKNegateIntToBool")->reverseTransformedValue(false), QVariant(1));
    EXPECT_EQ(ZKValueIsGreaterOfRef(5).transformedValue(65536 + 6), QVariant(true));
    EXPECT_EQ(ZKValueIsSmallerOfRef(0).transformedValue(32768), QVariant(true));  // -32768
    EXPECT_EQ(ZKValueIsInArray({1, QStringLiteral("a")}).transformedValue(QStringLiteral("a")), QVariant(true));
    EXPECT_EQ(ZKValueIsEqualToStr(QStringLiteral("x")).transformedValue(QStringLiteral("x")), QVariant(true));
    EXPECT_FLOAT_EQ(ZKValueMultipliedBy(0.1).transformedValue(3).toFloat(), 3 * 0.1f);
    EXPECT_EQ(ZKReturnInitStr(QStringLiteral("s")).transformedValue(42), QVariant(QStringLiteral("s")));
    EXPECT_EQ(make("ZKUnarchiveFromDataToText"), nullptr);  // misspelt on purpose: only the real name works
}

TEST(ValueTransformers, DateTagsFillInOrderWithLeadingZeros) {
    ZKDateTagElaborated t;
    t.now = [] { return QDateTime(QDate(2005, 7, 8), QTime(9, 3, 1)); };
    EXPECT_EQ(t.transformedValue(QStringLiteral("<yy>|<YY>-<mm>-<dd> <hh>:<ii>:<ss> <YY> <Yy>")),
              QVariant(QStringLiteral("05|2005-07-08 09:03:01 2005 <Yy>")));
    EXPECT_EQ(t.transformedValue(QVariant()), QVariant(QString()));
}

TEST(ValueTransformers, BookmarksGiveThePathTheNameOrTheirFixedTexts) {
    ZKPathFromBookmark path;
    ZKNameFromBookmark name;
    std::optional<QString> resolved = QStringLiteral("/home/ann/Bank.qvane");
    path.resolve = name.resolve = [&](const QByteArray&) { return resolved; };
    EXPECT_EQ(path.transformedValue(QByteArray("x")), QVariant(QStringLiteral("/home/ann/Bank.qvane")));
    EXPECT_EQ(name.transformedValue(QByteArray("x")), QVariant(QStringLiteral("Bank.qvane")));
    resolved = QString();
    EXPECT_EQ(path.transformedValue(QByteArray("x")), QVariant(QStringLiteral("FILe NOT FOUND")));
    EXPECT_EQ(name.transformedValue(QByteArray("x")), QVariant(QStringLiteral("FILE NOT FOUND")));
    resolved = std::nullopt;
    EXPECT_FALSE(path.transformedValue(QByteArray("x")).isValid());
    EXPECT_FALSE(ZKPathFromBookmark().transformedValue(QByteArray()).isValid());  // the real resolver
}

TEST(ValueTransformers, OldStyledText) {
    // Styled text as the old archiver wrote it: the characters follow the string class.
    const QByteArray text = QByteArrayLiteral(
        "\x04\x0bstreamtyped\x81\xe8\x03\x84\x01@\x84\x84\x84\x12NSAttributedString\x00\x84\x84\x08NSObject\x00\x85"
        "\x92\x84\x84\x84\x08NSString\x01\x94\x84\x01+\x0cHello w\xc3\xb6rld\x86\x84\x02iI\x01\x0b\x92");
    ZKUnarchivieFromDataToText toText;
    EXPECT_EQ(toText.transformedValue(text), QVariant(QStringLiteral("Hello w\u00f6rld")));
    EXPECT_FALSE(toText.transformedValue(text.left(60)).isValid());  // cut short: nothing, no crash
    EXPECT_FALSE(toText.transformedValue(QByteArray("plain")).isValid());
}

DraggingInfo drag(unsigned mask) {
    DraggingInfo d;
    d.operationMask = mask;
    return d;
}

TEST(DropTargets, WhatEachViewAcceptsAndWhichPartWins) {
    ZKDragDropViewUrl urlView;
    ZKDragDropViewFileUrl fileUrlView;
    ZKDragDropView fileView;
    DraggingInfo https = drag(DraggingInfo::Link | DraggingInfo::Copy);
    https.urls = QStringList{QStringLiteral("https://example.org")};
    EXPECT_EQ(urlView.draggingEntered(https), DraggingInfo::None);
    EXPECT_EQ(fileUrlView.draggingEntered(https), DraggingInfo::Link);
    EXPECT_TRUE(fileUrlView.hilited);
    fileUrlView.draggingExited();
    EXPECT_FALSE(fileUrlView.hilited);

    DraggingInfo text = drag(DraggingInfo::Copy);
    text.string = QStringLiteral("http://example.org/a");
    EXPECT_EQ(urlView.draggingEntered(text), DraggingInfo::Link);
    text.operationMask = DraggingInfo::Link;  // text needs the copy bit
    EXPECT_EQ(urlView.draggingEntered(text), DraggingInfo::None);
    EXPECT_EQ(fileView.draggingEntered(text), DraggingInfo::None);

    // Files and their URLs together: the file list wins, and only its first path is taken.
    DraggingInfo files = drag(DraggingInfo::Link);
    files.filenames = QStringList{QStringLiteral("/a"), QStringLiteral("/b"), QStringLiteral("/c")};
    files.urls = QStringList{QStringLiteral("file:///a")};
    std::vector<std::pair<QString, QString>> seen;
    fileUrlView.observer = fileView.observer = [&](const QString& k, const QString& v) { seen.emplace_back(k, v); };
    EXPECT_TRUE(fileUrlView.performDragOperation(files));
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], std::make_pair(QStringLiteral("myFilePathDropped"), QStringLiteral("/a")));
    EXPECT_TRUE(fileUrlView.myUrlPathDropped.isEmpty());
    seen.clear();
    fileView.performDragOperation(files);  // every path in turn, the last stays
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_EQ(fileView.myFilePathDropped, QStringLiteral("/c"));
    // Without the link bit nothing is taken, and the answer is still yes.
    seen.clear();
    EXPECT_TRUE(fileUrlView.performDragOperation(drag(DraggingInfo::Copy)));
    EXPECT_TRUE(seen.empty());
    // The prefix is not tested again at the drop.
    EXPECT_TRUE(urlView.performDragOperation(https));
    EXPECT_EQ(urlView.myUrlPathDropped, QStringLiteral("https://example.org"));
}

TEST(DropTargets, DroppedValuesFillTheSelectedRecordsUrl) {
    ArrayController records;
    Dictionary record;
    record.set(QStringLiteral("url"), Value("old"));
    records.setContent(Array{Value(record)});
    records.setSelectionIndex(0);
    const auto exists = [](const QString& p) { return p == QLatin1String("/home/ann/My Folder"); };
    EXPECT_FALSE(observeDropArea(records, QStringLiteral("myFilePathDropped"), QStringLiteral("/gone"), exists));
    EXPECT_EQ(record.value(QStringLiteral("url")).toString(), QStringLiteral("old"));
    EXPECT_TRUE(observeDropArea(records, QStringLiteral("myFilePathDropped"), QStringLiteral("/home/ann/My Folder"), exists));
    EXPECT_EQ(record.value(QStringLiteral("url")).toString(), QStringLiteral("file:///home/ann/My Folder"));
    EXPECT_TRUE(observeDropArea(records, QStringLiteral("myUrlPathDropped"), QStringLiteral("http://x.org/?a b")));
    EXPECT_EQ(record.value(QStringLiteral("url")).toString(), QStringLiteral("http://x.org/?a b"));
}

}  // namespace
