#include "browsing/FilteringArrayController.h"
#include "browsing/ZKCategoryArrayController.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <gtest/gtest.h>

#include <new>
#include <random>

using namespace qv;

namespace {

// A document's two lists: one category, "Generic", and no records, as a new document has.
struct Lists {
    Array records, categories;
    ZKColoredCategoryArrayController categoryController;
    FilteringArrayController recordController{&categoryController};
    int made = 0;

    Lists() {
        categories.append(Value(RecordModel::newCategory(QStringLiteral("Generic"), 1)));
        categoryController.setContent(categories);
        recordController.setContent(records);
        recordController.now = [] { return 1000.0; };
    }
    // Categories and their records hold each other; a document unlinks them when it goes.
    ~Lists() {
        for (const Value& c : categories) c.toDictionary().value(keys::records).toArray().clear();
    }
    Dictionary category(qsizetype i) const { return categories.at(i).toDictionary(); }
    std::int64_t count(qsizetype i) const { return category(i).value(keys::cat_howManyUsingThis).toInt64(); }
    // Records get distinct names: lists of records compare by value, and two records equal in
    // every field would leave a category's list together.
    Value addRecord() {
        const Value r = recordController.newObject();
        r.toDictionary().set(keys::name, Value(QStringLiteral("record %1").arg(++made)));
        recordController.addObject(r);
        return r;
    }
};

QString title(const Value& category) { return category.toDictionary().value(keys::cat_category).toString(); }

}  // namespace

TEST(CategoryForNewRecord, LastCategoryOrANewOneWhenNoneIsSelected) {
    Lists l;
    const Value first = l.addRecord();
    EXPECT_TRUE(first.toDictionary().value(keys::categoryPtr).isIdenticalTo(l.categories.at(0)));
    EXPECT_EQ(l.count(0), 1);
    EXPECT_EQ(l.category(0).value(keys::records).toArray().count(), 1);
    // The record list now has a selection: the next record takes its category (step 2).
    EXPECT_TRUE(l.recordController.canRemove());

    // With nothing selected in the category list, a second category comes into being.
    l.categoryController.avoidsEmptySelection = false;
    l.categoryController.setSelectionIndexes({});
    const Value second = l.addRecord();
    ASSERT_EQ(l.categories.count(), 2);
    EXPECT_EQ(title(l.categories.at(1)), QStringLiteral("Generic 1"));
    EXPECT_EQ(l.category(1).value(keys::cat_uniqueID).toInt64(), 2);
    EXPECT_TRUE(second.toDictionary().value(keys::categoryPtr).isIdenticalTo(l.categories.at(1)));
}

TEST(CategoryCounts, FollowRecordsThroughAddRemoveAndMoves) {
    Lists l;
    const Value a = l.addRecord();
    const Value b = l.addRecord();
    EXPECT_EQ(l.count(0), 2);
    const Value other = l.categoryController.addWithName(QStringLiteral("Work"));
    ASSERT_TRUE(l.recordController.assignCategory(other, a));
    EXPECT_EQ(l.count(0), 1);
    EXPECT_EQ(other.toDictionary().value(keys::cat_howManyUsingThis).toInt64(), 1);
    // Assigning again to the same category changes nothing.
    EXPECT_FALSE(l.recordController.assignCategory(other, a));

    l.recordController.removeObject(b);
    EXPECT_EQ(l.count(0), 0);
    EXPECT_EQ(l.records.count(), 1);
    // Putting it back, as an undo does, counts it again; it goes to the end of the content.
    l.recordController.addObject(b);
    EXPECT_EQ(l.count(0), 1);
    EXPECT_TRUE(l.records.at(1).isIdenticalTo(b));
}

TEST(Duplicates, HaveNoUsageCountAndFreshDates) {
    Lists l;
    Dictionary r = l.addRecord().toDictionary();
    r.set(keys::usageCount, Value::integer(7));
    r.set(keys::creationDate, Value::date(5));
    l.recordController.now = [] { return 2000.0; };
    const Dictionary d = l.recordController.duplicateRecord(r);
    EXPECT_FALSE(d.contains(keys::usageCount));
    EXPECT_EQ(d.value(keys::creationDate).toDate(), 2000.0);
    EXPECT_EQ(d.value(keys::modificationDate).toDate(), 2000.0);
    EXPECT_TRUE(d.value(keys::categoryPtr).isIdenticalTo(r.value(keys::categoryPtr)));
    EXPECT_FALSE(d.isSameObject(r));
}

TEST(CategoryLookups, IdsNamesAndTitles) {
    Lists l;
    l.categories.append(Value(RecordModel::newCategory(QStringLiteral("B"), 2)));
    l.categories.append(Value(RecordModel::newCategory(QStringLiteral("D"), 4)));
    l.categoryController.rearrangeObjects();
    EXPECT_EQ(l.categoryController.newUniqueID(), 3);  // fills the gap

    const Value twin1 = l.categoryController.addWithName(QStringLiteral("Twin"));
    const Value twin2 = l.categoryController.addWithName(QStringLiteral("Twin"));
    EXPECT_TRUE(l.categoryController.categoryWithTitle(QStringLiteral("Twin")).isIdenticalTo(twin1));
    EXPECT_FALSE(twin1.isIdenticalTo(twin2));

    EXPECT_FALSE(l.categoryController.incrementObjUsingThisInCategoryWithUniqueID(0, 1));
    EXPECT_TRUE(l.categoryController.incrementObjUsingThisInCategoryWithUniqueID(4, 5));
    EXPECT_EQ(l.category(2).value(keys::cat_howManyUsingThis).toInt64(), 5);

    // Names in use are looked for among the arranged categories only.
    EXPECT_EQ(l.categoryController.unusedCategoryNameWithPostfix(QStringLiteral("Generic")), QStringLiteral("Generic 1"));
    l.categoryController.setFilterPredicate(
        [](const Value& c) { return c.toDictionary().value(keys::cat_category).toString() != QStringLiteral("Generic"); });
    EXPECT_EQ(l.categoryController.unusedCategoryNameWithPostfix(QStringLiteral("Generic")), QStringLiteral("Generic"));
}

TEST(CategoryLookups, TheNextIdIsTheLowestFreeOneWhateverTheIdsAre) {
    // Against the plain reading of the rule: try 1, 2, 3 ... until no category has it.
    std::mt19937 rng(11);
    for (int round = 0; round < 200; ++round) {
        Array categories;
        const int n = int(rng() % 40);
        for (int i = 0; i < n; ++i) {
            const std::int64_t kinds[] = {std::int64_t(rng() % 45), -std::int64_t(rng() % 3), std::int64_t(1) << 40, 1};
            categories.append(Value(RecordModel::newCategory(QStringLiteral("c"), kinds[rng() % 4])));
        }
        std::int64_t expected = 1;
        for (bool used = true; used; ) {
            used = false;
            for (const Value& c : categories)
                if (c.toDictionary().value(keys::cat_uniqueID).toInt64() == expected) used = true;
            if (used) ++expected;
        }
        ASSERT_EQ(RecordModel::unusedCategoryID(categories), expected) << "round " << round;
    }
}

TEST(CategoryLookups, AncientCategoriesAreBroughtUpToDate) {
    ZKColoredCategoryArrayController controller;
    Array old{Value(Dictionary{{keys::cat_category, Value("A")}, {keys::cat_uniqueID, Value::integer(9)}}),
              Value(Dictionary{{keys::cat_category, Value("B")}, {keys::cat_howManyUsingThis, Value::integer(4)}})};
    controller.adjustFromAncientRelease(old);
    EXPECT_EQ(old.at(0).toDictionary().value(keys::cat_uniqueID).toInt64(), 1);
    EXPECT_EQ(old.at(1).toDictionary().value(keys::cat_uniqueID).toInt64(), 2);
    EXPECT_EQ(old.at(1).toDictionary().value(keys::cat_howManyUsingThis).toInt64(), 4);
    EXPECT_DOUBLE_EQ(old.at(0).toDictionary().valueForKeyPath(QStringLiteral("cat_backColor.r")).toDouble(), 0.75);
    Array none;
    controller.adjustFromAncientRelease(none);
    EXPECT_EQ(none.count(), 1);

    // Colours kept as old archived colour objects become dictionaries; anything else stays.
    const QByteArray blue("\x04\x0bstreamtyped\x81\xe8\x03\x84\x01@\x84\x84\x84\x07NSColor\x00\x84\x84\x08NSObject"
                          "\x00\x85\x84\x01" "c\x01\x84\x04" "ffff\x00\x00\x01\x01\x86", 59);
    Array archived{Value(Dictionary{{keys::cat_backColor, Value::data(blue)}, {keys::cat_textColor, Value::data("junk")}})};
    ZKColoredCategoryArrayController::adjustFromOldRelease(archived);
    EXPECT_DOUBLE_EQ(archived.at(0).toDictionary().valueForKeyPath(QStringLiteral("cat_backColor.b")).toDouble(), 1);
    EXPECT_TRUE(archived.at(0).toDictionary().value(keys::cat_textColor).isData());
}

TEST(Filtering, ALargeListFilteredOnTwoThreadsKeepsItsOrder) {
    // Large enough to be split between two threads; odd so that the halves differ.
    ArrayController list;
    Array content;
    for (int i = 0; i < 50001; ++i) content.append(Value::integer(i));
    list.setContent(content);
    int firstCalls = 0;
    list.setFilterPredicate([&firstCalls](const Value& v) {
        if (v.toInt64() == 0) ++firstCalls;
        return v.toInt64() % 3 == 0 || v.toInt64() == 25000;
    });
    firstCalls = 0;
    list.rearrangeObjects();
    std::vector<std::int64_t> expected, got;
    for (int i = 0; i < 50001; ++i)
        if (i % 3 == 0 || i == 25000) expected.push_back(i);
    for (const Value& v : list.arrangedObjects()) got.push_back(v.toInt64());
    EXPECT_EQ(got, expected);
    EXPECT_EQ(firstCalls, 1);  // the first object is tested once, alone
}

TEST(Filtering, AFailureOnTheSecondThreadReachesTheCallerAndTheListStaysAsItWas) {
    ArrayController list;
    Array content;
    for (int i = 0; i < 30000; ++i) content.append(Value::integer(i));
    list.setContent(content);
    // Memory running out while the second half is tested: an exception for the caller, not the
    // end of the program.
    EXPECT_THROW(list.setFilterPredicate([](const Value& v) {
        if (v.toInt64() == 29000) throw std::bad_alloc();
        return v.toInt64() % 2 == 0;
    }),
                 std::bad_alloc);
    EXPECT_EQ(list.arrangedObjects().count(), 30000);
}

TEST(Filtering, ALargeListOfRecordsRefilteredLeavesAHeldResultAlone) {
    ArrayController list;
    Array content;
    for (int i = 0; i < 40000; ++i) content.append(Value(Dictionary{{QStringLiteral("n"), Value::integer(i)}}));
    list.setContent(content);
    auto keep = [&list](int modulo) {
        list.setFilterPredicate([modulo](const Value& v) { return v.toDictionary().value(QStringLiteral("n")).toInt64() % modulo == 0; });
    };
    auto numbers = [](const Array& a) {
        std::vector<std::int64_t> out;
        for (const Value& v : a) out.push_back(v.toDictionary().value(QStringLiteral("n")).toInt64());
        return out;
    };
    keep(2);
    const Array held = list.arrangedObjects();  // a view still showing the previous result
    const auto before = numbers(held);
    ASSERT_EQ(before.size(), 20000u);
    keep(5);
    EXPECT_EQ(numbers(held), before);
    const auto now = numbers(list.arrangedObjects());
    ASSERT_EQ(now.size(), 8000u);
    for (size_t k = 0; k < now.size(); ++k) ASSERT_EQ(now[k], std::int64_t(5 * k));
    EXPECT_TRUE(list.arrangedObjects().at(1).isIdenticalTo(content.at(5)));  // the records, not copies
    keep(1);  // nothing holds the previous result now: it is let go of in pieces
    EXPECT_EQ(list.arrangedObjects().count(), 40000);
}
