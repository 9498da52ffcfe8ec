#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "foundation/KeyedArchive.h"

#include "support/Fakes.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

// A document with one category and two records, saved under `password`.
QByteArray savedDocument(const QString& password, MyDocument* keep = nullptr) {
    MyDocument doc;
    doc.prepareNewDocument();
    const Dictionary generic = doc.myCategoryArray.at(0).toDictionary();
    for (const char* name : {"Bank", "Mail"}) {
        Dictionary r = RecordModel::newRecord(nowSince2001());
        r.set(keys::name, Value(name));
        r.set(keys::categoryPtr, Value(generic));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = password;
    const QByteArray bytes = doc.dataOfType(QStringLiteral("qvane")).value();
    if (keep) {
        keep->myArray = doc.myArray;
        keep->myCategoryArray = doc.myCategoryArray;
    }
    return bytes;
}

// A new document saved under "secret", after `change` has set what the test needs.
QByteArray newFile(const std::function<void(MyDocument&)>& change = nullptr) {
    MyDocument writer;
    writer.prepareNewDocument();
    writer.plainPassword = QStringLiteral("secret");
    if (change) change(writer);
    return writer.dataOfType(QString()).value();
}

// Gives the right password and finishes opening, as submitting it does.
void unlock(MyDocument& doc) {
    doc.plainPassword = QStringLiteral("secret");
    ASSERT_EQ(doc.Decript(), 0);
    doc.decryptDone();
}

}  // namespace

TEST(MyDocument, ALockedDocumentNeverBecomesEditedAndAWrongPasswordLeavesMembers) {
    MyDocument doc;
    ASSERT_TRUE(doc.readFromData(savedDocument(QStringLiteral("secret")), QStringLiteral("qvane")));
    EXPECT_TRUE(doc.isEncrypted());
    doc.updateChangeCount(ZKCryptoDoc::kChangeDone);
    EXPECT_FALSE(doc.isDocumentEdited());
    EXPECT_FALSE(doc.canAutosave());
    doc.plainPassword = QStringLiteral("not it");
    EXPECT_NE(doc.Decript(), 0);
    EXPECT_TRUE(doc.myEncryptedArrayData.isData());
    doc.plainPassword = QStringLiteral("secret");
    ASSERT_EQ(doc.Decript(), 0);
    EXPECT_TRUE(doc.myEncryptedArrayData.isAbsent());  // consumed
    doc.decryptDone();
    EXPECT_FALSE(doc.isEncrypted());
    EXPECT_FALSE(doc.isDocumentEdited());
    ASSERT_EQ(doc.myArray.count(), 2);
    const Dictionary generic = doc.myCategoryArray.at(0).toDictionary();
    EXPECT_TRUE(doc.myArray.at(1).toDictionary().value(keys::categoryPtr).toDictionary().isSameObject(generic));
    EXPECT_EQ(generic.value(keys::cat_howManyUsingThis).toInt64(), 2);
    EXPECT_EQ(generic.value(keys::records).toArray().count(), 0);  // filled only by later assignments
}

TEST(MyDocument, SavingLeavesLiveTablesAloneAndRenewsSaltAndIV) {
    MyDocument live;
    const QByteArray first = savedDocument(QStringLiteral("secret"), &live);
    EXPECT_TRUE(live.myArray.at(0).toDictionary().contains(keys::categoryPtr));
    EXPECT_FALSE(live.myArray.at(0).toDictionary().contains(keys::categoryID));

    MyDocument doc;
    ASSERT_TRUE(doc.readFromData(first, QString()));
    unlock(doc);
    const Value salt = doc.mySalt;
    const QByteArray second = doc.dataOfType(QString()).value();
    EXPECT_FALSE(doc.mySalt == salt);

    MyDocument again;
    ASSERT_TRUE(again.readFromData(second, QString()));
    again.plainPassword = QStringLiteral("secret");
    EXPECT_EQ(again.Decript(), 0);
    EXPECT_EQ(again.myArray.count(), 2);
}

TEST(MyDocument, TheSavedRecordsAreExactlyTheArchiveOfTheirSaveCopies) {
    // Saving writes the records without copying them first; the bytes must be those of the
    // copies: keys in place, categoryID given or added last, categoryPtr gone, a nested
    // container shared by two records written once, and the same record twice written twice.
    MyDocument doc;
    doc.prepareNewDocument();
    doc.plainPassword = QStringLiteral("secret");
    const Value generic = doc.myCategoryArray.at(0);
    const Array shared{Value("a"), Value::integer(2)};
    Dictionary withID = RecordModel::newRecord(0);
    withID.set(keys::categoryID, Value::integer(77));
    withID.set(keys::categoryPtr, generic);
    withID.set(QStringLiteral("extra"), Value(shared));
    Dictionary withoutID = RecordModel::newRecord(0);
    withoutID.set(keys::categoryPtr, generic);
    withoutID.set(QStringLiteral("extra"), Value(shared));
    withoutID.set(keys::name, Value(QStringLiteral("Zoë")));
    Dictionary orphan = RecordModel::newRecord(0);
    orphan.setImmutableClass(true);
    for (const Dictionary& r : {withID, withoutID, orphan, withID}) doc.myArray.append(Value(r));

    const Array copies = doc.getCopyOfContentArrayForSaveOperation();
    // A record in no category is saved with the id 0, an integer.
    EXPECT_TRUE(isStrictlyEqual(copies.at(2).toDictionary().value(keys::categoryID), Value::integer(0)));
    const QByteArray expected = KeyedArchiver::archivedDataWithRootObject(Value(copies)).value();
    ASSERT_TRUE(doc.dataOfType(QString()));
    const auto plain = doc.myCommonCrypto->decrypt(doc.myEncryptedArrayData.toData());
    ASSERT_TRUE(plain) << plain.message().toStdString();
    EXPECT_EQ(*plain, expected);
}

TEST(MyDocument, ALargeSealedMemberIsKeptInTheFileBytesNotBesideThem) {
    MyDocument doc;
    doc.prepareNewDocument();
    doc.plainPassword = QStringLiteral("secret");
    for (int i = 0; i < 3000; ++i) {
        Dictionary r = RecordModel::newRecord(i);
        r.set(keys::note, Value(QString(400, QLatin1Char('n')) + QString::number(i)));
        doc.myArray.append(Value(r));
    }
    const QByteArray file = doc.dataOfType(QString()).value();
    const QByteArray records = doc.myEncryptedArrayData.toData();
    ASSERT_GT(records.size(), 1 << 20);
    EXPECT_TRUE(records.constData() > file.constData() && records.constData() + records.size() <= file.constData() + file.size());
    // Locked, the document writes the members as they stand: the very same bytes.
    doc.setIsEncrypted(true);
    EXPECT_EQ(doc.dataOfType(QString()).value(), file);
}

TEST(MyDocument, AMemberThatDeciphersToGarbageStaysAsItWasForTheNextAttempt) {
    const QByteArray file = newFile([](MyDocument& writer) {
        ASSERT_TRUE(writer.dataOfType(QString()));
        // Same key and vector, so the document's own check still passes.
        const auto garbage = writer.myCommonCrypto->encrypt(QByteArray("not an archive at all"));
        ASSERT_TRUE(garbage);
        writer.myEncryptedArrayData = Value::data(*garbage).withMutableClass(true);
        writer.setIsEncrypted(true);  // write the members as they stand
    });

    MyDocument doc;
    ASSERT_TRUE(doc.readFromData(file, QString()));
    const Value member = doc.myEncryptedArrayData;
    doc.plainPassword = QStringLiteral("secret");
    EXPECT_EQ(doc.Decript(), 1);
    EXPECT_TRUE(isStrictlyEqual(doc.myEncryptedArrayData, member));
    EXPECT_EQ(doc.Decript(), 1);
    EXPECT_TRUE(isStrictlyEqual(doc.myEncryptedArrayData, member));
}

TEST(MyDocument, AMemberCutShortFailsWithTheCipherStatusAndStaysAsItWas) {
    const QByteArray file = newFile([](MyDocument& writer) {
        ASSERT_TRUE(writer.dataOfType(QString()));
        // One byte short of whole blocks; the check string is intact, so the password passes.
        QByteArray cut = writer.myEncryptedArrayData.toData();
        cut.chop(1);
        writer.myEncryptedArrayData = Value::data(cut).withMutableClass(true);
        writer.setIsEncrypted(true);
    });

    MyDocument doc;
    ASSERT_TRUE(doc.readFromData(file, QString()));
    const Value member = doc.myEncryptedArrayData;
    doc.plainPassword = QStringLiteral("secret");
    EXPECT_EQ(doc.Decript(), ZKCommonCrypto::kAlignmentError);
    EXPECT_TRUE(isStrictlyEqual(doc.myEncryptedArrayData, member));
}

TEST(MyDocument, DecryptDoneRestoresTheRememberedLayoutInOrder) {
    // A document whose layout block names a sort column and a split position.
    const QByteArray file = newFile([](MyDocument& writer) {
        writer.splitLeftFrame = Rect{0, 0, 240, 500};
        writer.latestOrderedColumn = Value("name");
        writer.latestOrderedColumnAscending = true;
        writer.makeToolbarVisibleAtDecrypt = true;
        writer.myWinRectToUse = Rect{10.7, 20.2, 900.9, 640.5};
    });

    test::FakeDocumentWindowUi ui;
    MyDocument doc;
    doc.setUi(&ui);
    ASSERT_TRUE(doc.readFromData(file, QString()));
    EXPECT_TRUE(doc.useMyWinRect);
    EXPECT_EQ(doc.myWinRectToUse, (Rect{10, 20, 900, 640}));  // whole numbers, truncated
    ui.calls.clear();
    unlock(doc);
    EXPECT_EQ(ui.calls, (QStringList{QStringLiteral("progress 1"), QStringLiteral("detailCollapsed 0"),
                                     QStringLiteral("synkCategorySubMenu"), QStringLiteral("progress 0"),
                                     QStringLiteral("liftMaximumWindowSize"), QStringLiteral("applyColumnSize"),
                                     QStringLiteral("compactPlusCMA"), QStringLiteral("applyColumnVisibility"),
                                     QStringLiteral("splitFrames"), QStringLiteral("tab 0"),
                                     QStringLiteral("frame 900x640"), QStringLiteral("orderBy name 1"),
                                     QStringLiteral("clearPasswordField"), QStringLiteral("toolbar 1"),
                                     QStringLiteral("focusSearchField")}));
    EXPECT_TRUE(doc.YouCanSave);
}

TEST(MyDocument, APhoneFileWithoutLayoutOpensAtHeight460WithoutToolbar) {
    // Strip the desktop block, as the phone edition writes files.
    Dictionary root = KeyedUnarchiver::unarchiveObjectWithData(newFile())->toDictionary();
    root.remove(keys::OSXPlatformDictionary);
    test::FakeDocumentWindowUi ui;
    MyDocument doc;
    doc.setUi(&ui);
    ASSERT_TRUE(doc.readFromData(KeyedArchiver::archivedDataWithRootObject(Value(root)).value(), QString()));
    EXPECT_FALSE(doc.useMyWinRect);
    unlock(doc);
    EXPECT_EQ(ui.frame.height, 460);
    EXPECT_FALSE(ui.toolbarVisible);
    EXPECT_FALSE(ui.calls.contains(QStringLiteral("splitFrames")));
}

TEST(MyDocument, TheDirectorySheetCarriesItsTextsAndOneOk) {
    test::FakeDocumentWindowUi ui;
    MyDocument doc;
    doc.setUi(&ui);
    doc.openAlertPanelCantDropDirectoryHere();
    ASSERT_EQ(ui.alerts.size(), 1u);
    EXPECT_EQ(ui.alerts[0].messageText, QStringLiteral("Can't Accept a Directory Here"));
    EXPECT_EQ(ui.alerts[0].informativeText,
              QStringLiteral("You dropped here a directory.\nYou can only drop here a file to open it via Quorvane "
                             "with the open button"));
    EXPECT_EQ(ui.alerts[0].buttons, QStringList{QStringLiteral("OK")});
}
