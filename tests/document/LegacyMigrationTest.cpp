#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/LegacyMigration.h"
#include "document/MyDocument.h"
#include "foundation/KeyedArchive.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

const QString kPassword = QStringLiteral("old secret");

// Builds old files with the engine's own encrypt side, field by field.
struct OldFile {
    ZKCrypto e{LegacyMigration::kInitVector, kPassword};
    Array categories, records;

    Value s(const QString& text) const { return Value::data(*e.cryptString(text)); }
    void category(const QString& title) {
        Dictionary c;
        c.set(keys::cat_category, s(title));
        c.set(keys::cat_uniqueID, Value::data(*e.cryptLong(42)));
        c.set(keys::cat_mark, s(QStringLiteral("m")));
        c.set(keys::cat_backColor, Value::data(QByteArray()));
        c.set(keys::cat_textColor, Value::data(QByteArray()));
        categories.append(Value(c));
    }
    void record(const QString& name, const QString& category) {
        Dictionary r;
        r.set(keys::category, s(category));
        r.set(keys::cat_uniqueID, Value::data(*e.cryptLong(42)));
        for (const QString* k : {&keys::account, &keys::note, &keys::password, &keys::url, &keys::email,
                                 &keys::userID, &keys::creationDate, &keys::modificationDate})
            r.set(*k, Value::data(QByteArray()));
        r.set(keys::name, s(name));
        r.set(keys::usageCount, Value::data(*e.cryptLongToInt32(5)));
        records.append(Value(r));
    }
    QByteArray bytes(std::uint64_t generation) const {
        Dictionary root;
        root.set(keys::appversion, Value::unsignedInteger(generation));
        root.set(keys::catArray, Value(categories));
        root.set(keys::dataArray, Value(records));
        return *KeyedArchiver::archivedDataWithRootObject(Value(root));
    }
};

QStringList names(const Array& a, const QString& key) {
    QStringList out;
    for (const Value& v : a) out << v.toDictionary().value(key).toString();
    return out;
}

}  // namespace

TEST(LegacyMigration, DispatchByGeneration) {
    const std::pair<std::uint64_t, int> table[] = {
        {1000, 1},  {999, 0},   {2000, 2},  {2020, 2},  {2030, 0},  {2100, 3},  {2200, 4},  {2300, 4},
        {2400, 5},  {2499, 0},  {2500, 5},  {2520, 5},  {2530, 0},  {2600, 5},  {2710, 5},  {2720, 0},
        {2800, 5},  {20801, 5}, {20800, 0}, {20899, 0}, {20900, 6}, {21000, 6}, {21099, 0}, {21100, 7},
        {21110, 7}, {21111, 0}, {21199, 0}, {21200, 7}, {21207, 7}, {21208, 0}, {2222, 0},  {30000, 0},
        {40000, 0}, {40100, 0}};
    for (const auto& [generation, group] : table) EXPECT_EQ(LegacyMigration::groupOf(generation), group) << generation;
}

TEST(LegacyMigration, CategoriesByTitleNumberedAnewAndCounted) {
    OldFile f;
    f.category(QStringLiteral("Home"));
    f.category(QStringLiteral("Home"));  // the same title twice: the second stays empty
    f.category(QStringLiteral("Work"));
    f.record(QStringLiteral("A"), QStringLiteral("Work"));
    f.record(QStringLiteral("B"), QStringLiteral("Home"));
    MyDocument doc;
    DocumentBrowser browser(doc);
    ASSERT_TRUE(doc.readFromData(f.bytes(21207), QString()));
    EXPECT_FALSE(doc.YouCanSave);
    doc.plainPassword = kPassword;
    ASSERT_EQ(doc.Decript(), 0);
    doc.decryptDone();
    EXPECT_EQ(names(doc.myCategoryArray, keys::cat_category),
              (QStringList{QStringLiteral("Home"), QStringLiteral("Home"), QStringLiteral("Work")}));
    std::vector<std::int64_t> ids, counts;
    for (const Value& c : doc.myCategoryArray) {
        ids.push_back(c.toDictionary().value(keys::cat_uniqueID).toInt64());
        counts.push_back(c.toDictionary().value(keys::cat_howManyUsingThis).toInt64());
    }
    EXPECT_EQ(ids, (std::vector<std::int64_t>{1, 2, 3}));
    EXPECT_EQ(counts, (std::vector<std::int64_t>{1, 0, 1}));
    EXPECT_EQ(doc.myArray.at(0).toDictionary().value(keys::usageCount).toInt64(), 5);
    EXPECT_TRUE(doc.YouCanSave);
    EXPECT_FALSE(doc.isDocumentEdited());
    // That a saved old document opens as a current one with the same content is checked for
    // every generation in legacy_interop.py.
}

TEST(LegacyMigration, AFailedAttemptKeepsWhatItAddedSoASuccessShowsItTwice) {
    OldFile f;
    f.category(QStringLiteral("Home"));
    f.record(QStringLiteral("A"), QStringLiteral("Home"));
    f.record(QStringLiteral("B"), QStringLiteral("Home"));
    // The second record's note can't be deciphered under any key: not a whole block.
    Dictionary second = f.records.at(1).toDictionary();
    second.set(keys::note, Value::data(QByteArray("abc")));
    MyDocument doc;
    DocumentBrowser browser(doc);
    ASSERT_TRUE(doc.readFromData(f.bytes(2800), QString()));
    doc.plainPassword = kPassword;
    EXPECT_EQ(doc.Decript(), 2);
    EXPECT_EQ(names(doc.myArray, keys::name), QStringList{QStringLiteral("A")});
    // Mended, the next attempt adds both again after the one left over.
    second.set(keys::note, f.s(QStringLiteral("fine")));
    ASSERT_TRUE(doc.readFromData(f.bytes(2800), QString()));
    EXPECT_EQ(doc.Decript(), 0);
    EXPECT_EQ(names(doc.myArray, keys::name), (QStringList{QStringLiteral("A"), QStringLiteral("A"), QStringLiteral("B")}));
    // Generation 2800 has no dates: both are the moment of opening.
    EXPECT_TRUE(doc.myArray.at(2).toDictionary().value(keys::creationDate).isDate());
    EXPECT_EQ(doc.myArray.at(2).toDictionary().value(keys::usageCount).toInt64(), 0);
}

TEST(LegacyMigration, DatePatternByUnicodeRules) {
    // MM is the month in both places and DD the day of the year; minutes are never read.
    qputenv("TZ", "UTC");
    const auto d = LegacyMigration::dateFromString(QStringLiteral("2010-03-75 10:03:00 \u00B11003"));
    ASSERT_TRUE(d);
    EXPECT_DOUBLE_EQ(*d, 290426400.0);  // 2010-03-16 10:00 UTC
    EXPECT_FALSE(LegacyMigration::dateFromString(QStringLiteral("2010-03-16 10:20:30 +0100")));
    EXPECT_FALSE(LegacyMigration::dateFromString(QString()));
}

namespace {

struct Converted {
    QStringList names, categoryOfEach, titles;
    std::vector<std::int64_t> ids, counts;
};

// Opens `bytes` with nothing attached to the document (no window, no list controllers).
Converted convertAlone(const QByteArray& bytes) {
    MyDocument doc;
    Converted out;
    if (!doc.readFromData(bytes, QString())) return out;
    doc.plainPassword = kPassword;
    if (doc.Decript() != 0) return out;
    doc.decryptDone();
    out.names = names(doc.myArray, keys::name);
    for (const Value& r : doc.myArray)
        out.categoryOfEach << r.toDictionary().value(keys::categoryPtr).toDictionary().value(keys::cat_category).toString();
    out.titles = names(doc.myCategoryArray, keys::cat_category);
    for (const Value& c : doc.myCategoryArray) {
        out.ids.push_back(c.toDictionary().value(keys::cat_uniqueID).toInt64());
        out.counts.push_back(c.toDictionary().value(keys::cat_howManyUsingThis).toInt64());
    }
    return out;
}

}  // namespace

TEST(LegacyMigration, OpensWithNothingAttachedAndPlacesRecordsAsTheListsWould) {
    const QString home = QStringLiteral("Home"), work = QStringLiteral("Work"), generic = QStringLiteral("Generic");
    OldFile f;
    f.category(home);
    f.category(work);
    f.record(QStringLiteral("A"), work);
    f.record(QStringLiteral("Lost"), QStringLiteral("Nowhere"));  // takes the category of the record before it
    f.record(QStringLiteral("B"), home);
    f.record(QStringLiteral("B"), home);  // equal to the one before: in the table twice, in its category once
    const Converted c = convertAlone(f.bytes(21207));
    EXPECT_EQ(c.names, (QStringList{QStringLiteral("A"), QStringLiteral("Lost"), QStringLiteral("B"), QStringLiteral("B")}));
    EXPECT_EQ(c.categoryOfEach, (QStringList{work, work, home, home}));
    EXPECT_EQ(c.titles, (QStringList{home, work}));
    EXPECT_EQ(c.ids, (std::vector<std::int64_t>{1, 2}));
    EXPECT_EQ(c.counts, (std::vector<std::int64_t>{1, 2}));

    // The first record without a match, before any other: the last category.
    OldFile first;
    first.category(home);
    first.category(work);
    first.record(QStringLiteral("Lost"), QStringLiteral("Nowhere"));
    EXPECT_EQ(convertAlone(first.bytes(2800)).categoryOfEach, QStringList{work});

    // No category in the file: the first record makes "Generic", number 1, and every record goes there.
    OldFile bare;
    bare.record(QStringLiteral("A"), home);
    bare.record(QStringLiteral("B"), generic);
    const Converted b = convertAlone(bare.bytes(21207));
    EXPECT_EQ(b.titles, QStringList{generic});
    EXPECT_EQ(b.ids, std::vector<std::int64_t>{1});
    EXPECT_EQ(b.categoryOfEach, (QStringList{generic, generic}));
    EXPECT_EQ(b.counts, std::vector<std::int64_t>{2});

    // The first generation has no categories at all: one "Generic" holds them.
    const Converted g = convertAlone(bare.bytes(1000));
    EXPECT_EQ(g.names, (QStringList{QStringLiteral("A"), QStringLiteral("B")}));
    EXPECT_EQ(g.titles, QStringList{generic});
    EXPECT_EQ(g.categoryOfEach, (QStringList{generic, generic}));
}
