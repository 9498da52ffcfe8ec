#include "document/DocumentKeys.h"
#include "document/DocumentTexts.h"
#include "document/MyDocument.h"
#include "foundation/KeyedArchive.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

// A container that holds every member any generation has, each with a value of its own, so that
// what a reader takes shows in the document.
QByteArray everyMember(std::uint64_t generation) {
    Dictionary root;
    root.set(keys::appversion, Value::unsignedInteger(generation));
    int n = 100;
    for (const QString* k : {&keys::passwordTableWidth, &keys::emailTableWidth, &keys::categoryTableWidth,
                             &keys::nameTableWidth, &keys::urlTableWidth, &keys::accountTableWidth,
                             &keys::userIDTableWidth})
        root.set(*k, Value::real(n++));
    root.set(keys::windowRecX, Value::integer(11));
    root.set(keys::windowRecY, Value::integer(12));
    root.set(keys::windowRecWidth, Value::integer(700));
    root.set(keys::windowRecHeight, Value::integer(500));
    root.set(keys::catArray, Value(Array{Value("old categories")}));
    root.set(keys::dataArray, Value(Array{Value("old records")}));
    for (const QString* k : {&keys::salt, &keys::IV, &keys::dataArrayData, &keys::catArrayData, &keys::emailArrayData,
                             &keys::documentCreationDateData, &keys::rc, &keys::sha1_rc})
        root.set(*k, Value::data(k->toUtf8()));
    root.set(keys::OSXPlatformDictionary,
             Value(Dictionary{{keys::windowRecX, Value::integer(1)}, {keys::windowRecY, Value::integer(2)},
                              {keys::windowRecWidth, Value::integer(800)}, {keys::windowRecHeight, Value::integer(600)},
                              {keys::latestOrderedColumn, Value("name")}}));
    root.set(keys::iOSPlatformDictionary, Value(Dictionary{{keys::name, Value("phone")}}));
    return *KeyedArchiver::archivedDataWithRootObject(Value(root));
}

// The members a document took, by name, in a fixed order.
QStringList taken(const MyDocument& d) {
    QStringList out;
    if (!d.savedPasswordTableWidth.isAbsent() && !d.savedEmailTableWidth.isAbsent()) out << QStringLiteral("wide");
    if (d.useMyColumnWidth && d.savedCategoryTableWidth.toDouble() == 102 && d.savedNameTableWidth.toDouble() == 103 &&
        d.savedUrlTableWidth.toDouble() == 104 && d.accountTableWidth.toDouble() == 105 &&
        d.userIDTableWidth.toDouble() == 106)
        out << QStringLiteral("narrow");
    if (d.myWinRectToUse == (Rect{11, 12, 700, 500}) && !d.useMyWinRect) out << QStringLiteral("frame");
    if (d.myEncryptedCategoryArray.isArray()) out << QStringLiteral("categories");
    if (d.myEncriptedArray.isArray()) out << QStringLiteral("records");
    if (d.mySalt.isData() && d.myIV.isData() && d.myEncryptedArrayData.isData() && d.myEncryptedCategoryArrayData.isData() &&
        d.myEncryptedEmailArrayData.isData() && d.myEncryptedDocumentCreationDateData.isData() &&
        d.myRCDataEncrypted.isData() && d.mySha1_RcData.isData() && d.myiOSPlatformDictionary.isDictionary())
        out << QStringLiteral("members");
    if (d.useMyWinRect && d.myWinRectToUse == (Rect{1, 2, 800, 600}) && d.latestOrderedColumn == Value("name"))
        out << QStringLiteral("layout");
    return out;
}

}  // namespace

TEST(GenerationReaders, EachFamilyTakesItsMembersAndNoOthers) {
    const QStringList current{QStringLiteral("members"), QStringLiteral("layout")};
    const QStringList recordsOnly{QStringLiteral("records")};
    const QStringList withCategories{QStringLiteral("categories"), QStringLiteral("records")};
    const QStringList framed = QStringList{QStringLiteral("frame")} + withCategories;
    const QStringList narrow = QStringList{QStringLiteral("narrow")} + framed;
    const QStringList wide = QStringList{QStringLiteral("wide")} + narrow;
    const std::pair<std::uint64_t, QStringList> table[] = {
        {40100, current}, {40000, current}, {30000, current},   {35000, recordsOnly}, {1000, recordsOnly},
        {999, recordsOnly}, {2222, recordsOnly}, {2000, withCategories}, {2020, withCategories}, {2030, recordsOnly},
        {2100, framed},   {2200, framed},   {2210, framed},      {2300, framed},       {2400, narrow},
        {2500, wide},     {2520, wide},     {2530, recordsOnly}, {2710, wide},         {2800, wide},
        {20801, wide},    {20800, recordsOnly}, {21000, wide},   {21099, recordsOnly}, {21100, wide},
        {21110, wide},    {21111, recordsOnly}, {21200, wide},   {21207, wide},        {21208, recordsOnly}};
    for (const auto& [generation, members] : table) {
        MyDocument doc;
        ASSERT_TRUE(doc.readFromData(everyMember(generation), QString())) << generation;
        EXPECT_EQ(taken(doc), members) << generation;
        const bool isCurrent = members == current;
        EXPECT_EQ(doc.YouCanSave, isCurrent) << generation;
        EXPECT_EQ(doc.moreDocDescription, isCurrent ? texts::compatibleWithPhone : texts::notCompatibleWithPhone)
            << generation;
        EXPECT_EQ(doc.convertFormatString, generation == 40100 ? texts::currentFormat : texts::oldFormat) << generation;
        EXPECT_TRUE(doc.isEncrypted()) << generation;
        EXPECT_EQ(doc.docVersionRapresentation, generation);
    }
}

TEST(GenerationReaders, ANewerOrAnUnreadableFileIsRefusedWithItsReason) {
    using Failure = MyDocument::ReadFailure;
    MyDocument doc;
    const MyDocument::ReadStatus tooNew = doc.read(everyMember(40101));
    ASSERT_FALSE(tooNew);
    EXPECT_EQ(tooNew.kind(), Failure::TooNew);
    EXPECT_EQ(tooNew.message(), texts::tooNewMessage);
    EXPECT_FALSE(doc.YouCanSave);
    const MyDocument::ReadStatus notADictionary = doc.read(*KeyedArchiver::archivedDataWithRootObject(Value("text")));
    ASSERT_FALSE(notADictionary);
    EXPECT_EQ(notADictionary.kind(), Failure::Unreadable);
    EXPECT_EQ(notADictionary.message(), QStringLiteral("The file is not a Quorvane document."));
    const MyDocument::ReadStatus notAnArchive = doc.read(QByteArray("not an archive"));
    ASSERT_FALSE(notAnArchive);
    EXPECT_EQ(notAnArchive.kind(), Failure::Unreadable);
    EXPECT_FALSE(notAnArchive.message().isEmpty());
    // The newest generation this release writes is taken.
    EXPECT_TRUE(doc.read(everyMember(MyDocument::kGenerationWritten)));
}
