// Records point at their category and categories list their records. Tables that a document
// lets go (closing, or a decryption replacing them after a lock) must be unlinked, or they stay in
// memory for the life of the process with every password in them.

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {
// A document with one category that lists its one record, as assigning a category makes it.
void linkOne(MyDocument& doc, Value* category) {
    Dictionary cat = RecordModel::newCategory(QStringLiteral("Bank"), 5);
    Dictionary record = RecordModel::newRecord(1);
    record.set(keys::password, Value("hunter2"));
    record.set(keys::categoryPtr, Value(cat));
    cat.value(keys::records).toArray().append(Value(record));
    doc.myCategoryArray.append(Value(cat));
    doc.myArray.append(Value(record));
    *category = Value(cat);
}
}  // namespace

TEST(TablesRelease, ClosingOrReplacingTablesUnlinksCategoriesFromTheirRecords) {
    Value kept;
    {
        MyDocument doc;
        linkOne(doc, &kept);
        ASSERT_EQ(kept.toDictionary().value(keys::records).toArray().count(), 1);
    }
    EXPECT_EQ(kept.toDictionary().value(keys::records).toArray().count(), 0);

    // Lock, then unlock: the decrypted tables replace the ones in memory.
    MyDocument doc;
    doc.prepareNewDocument();
    doc.myCategoryArray = Array();
    linkOne(doc, &kept);
    doc.plainPassword = QStringLiteral("secret");
    doc.fileURL = QStringLiteral("/tmp/x.qvane");
    doc.doLockDocument();
    ASSERT_EQ(doc.Decript(), 0);
    EXPECT_EQ(kept.toDictionary().value(keys::records).toArray().count(), 0);
    ASSERT_EQ(doc.myArray.count(), 1);
    EXPECT_EQ(doc.myArray.at(0).toDictionary().value(keys::password).toString(), QStringLiteral("hunter2"));
    EXPECT_FALSE(doc.myCategoryArray.at(0).toDictionary().isSameObject(kept.toDictionary()));
}
