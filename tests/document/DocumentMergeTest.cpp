#include "document/DocumentKeys.h"
#include "document/DocumentMerge.h"
#include "document/RecordModel.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

struct Side {
    Array records, categories, emails;
    Value category(const QString& title, double red) {
        for (const Value& c : categories)
            if (c.toDictionary().value(keys::cat_category).toString() == title) return c;
        Dictionary made = RecordModel::newCategory(title, categories.count() + 1);
        made.set(keys::cat_backColor, Value(ZKColorUtilOSX::dictFromNSColor(RgbaColor{red, 0, 0, 1})));
        categories.append(Value(made));
        return categories.at(categories.count() - 1);
    }
    Dictionary add(const QString& name, double created, double modified, const QString& category = QStringLiteral("Web"),
                   double red = 0.5) {
        Dictionary r = RecordModel::newRecord(created);
        r.set(keys::name, Value(name));
        r.set(keys::password, Value(name + QStringLiteral("-pw")));
        r.set(keys::modificationDate, Value::date(modified));
        r.set(keys::categoryPtr, this->category(category, red));
        records.append(Value(r));
        return r;
    }
    Dictionary named(const QString& name) const {
        for (const Value& r : records)
            if (r.toDictionary().value(keys::name).toString() == name) return r.toDictionary();
        return Dictionary();
    }
};

MergeReport merge(Side& a, const Side& b) { return DocumentMerge::merge(a.records, a.categories, a.emails, b.records, b.emails); }

}  // namespace

// Every case of two versions of one document, checked field by field in the result.
TEST(DocumentMerge, LaterEditWinsBothStayOnATieAndNothingIsLost) {
    Side a, b;
    a.add(QStringLiteral("Bank"), 100, 200);
    Dictionary bankB = b.add(QStringLiteral("Bank"), 100, 300);          // edited later in B
    bankB.set(keys::password, Value("new-in-B"));
    bankB.set(keys::usageCount, Value::integer(2));
    a.named(QStringLiteral("Bank")).set(keys::usageCount, Value::integer(7));

    Dictionary mailA = a.add(QStringLiteral("Mail"), 110, 400);          // edited later in A
    mailA.set(keys::note, Value("A's note"));
    b.add(QStringLiteral("Mail"), 110, 150).set(keys::usageCount, Value::integer(9));

    a.add(QStringLiteral("Shop"), 120, 120);                             // renamed later in B
    b.add(QStringLiteral("Shop Online"), 120, 500);

    a.add(QStringLiteral("Forum"), 130, 600).set(keys::userID, Value("a-user"));  // same moment, different
    b.add(QStringLiteral("Forum"), 130, 600).set(keys::userID, Value("b-user"));

    a.add(QStringLiteral("Twin one"), 140, 140);                         // two made in the same microsecond
    a.add(QStringLiteral("Twin two"), 140, 140);
    b.add(QStringLiteral("Twin two"), 140, 700).set(keys::note, Value("second twin edited"));
    b.add(QStringLiteral("Twin one"), 140, 140);

    a.add(QStringLiteral("Only A"), 150, 150);
    b.add(QStringLiteral("Only B"), 160, 160, QStringLiteral("Games"), 0.9);  // with a category A lacks
    b.add(QStringLiteral("Moved"), 170, 170, QStringLiteral("Web"), 0.1);      // "Web" in B is another red

    a.emails.append(Value(Dictionary{{keys::email, Value("me@a.example")}}));
    b.emails.append(Value(Dictionary{{keys::email, Value("me@a.example")}}));
    b.emails.append(Value(Dictionary{{keys::email, Value("me@b.example")}}));

    const Value webA = a.category(QStringLiteral("Web"), 0);
    const MergeReport r = merge(a, b);

    const Dictionary bank = a.named(QStringLiteral("Bank"));
    EXPECT_EQ(bank.value(keys::password).toString(), QStringLiteral("new-in-B"));
    EXPECT_EQ(bank.value(keys::usageCount).toInt64(), 7);  // the larger count
    EXPECT_EQ(a.named(QStringLiteral("Mail")).value(keys::note).toString(), QStringLiteral("A's note"));
    EXPECT_EQ(a.named(QStringLiteral("Mail")).value(keys::usageCount).toInt64(), 9);
    EXPECT_TRUE(a.named(QStringLiteral("Shop")).isEmpty());
    EXPECT_EQ(a.named(QStringLiteral("Shop Online")).value(keys::creationDate).toDate(), 120);
    EXPECT_EQ(a.named(QStringLiteral("Forum")).value(keys::userID).toString(), QStringLiteral("a-user"));
    EXPECT_EQ(a.named(QStringLiteral("Forum (conflict)")).value(keys::userID).toString(), QStringLiteral("b-user"));
    EXPECT_EQ(a.named(QStringLiteral("Twin two")).value(keys::note).toString(), QStringLiteral("second twin edited"));
    EXPECT_TRUE(a.named(QStringLiteral("Twin one")).value(keys::note).toString().isEmpty());
    EXPECT_FALSE(a.named(QStringLiteral("Only A")).isEmpty());
    EXPECT_FALSE(a.named(QStringLiteral("Only B")).isEmpty());
    EXPECT_EQ(a.records.count(), 10);  // nine of A, Only B, Moved and the conflict copy, less the renamed one counted once

    // Categories by title: A's colours stay, B's new one comes with its colours.
    EXPECT_TRUE(a.named(QStringLiteral("Moved")).value(keys::categoryPtr).isIdenticalTo(webA));
    const Dictionary games = a.named(QStringLiteral("Only B")).value(keys::categoryPtr).toDictionary();
    EXPECT_EQ(games.value(keys::cat_category).toString(), QStringLiteral("Games"));
    EXPECT_NEAR(ZKColorUtilOSX::NSColorFromDict(games.value(keys::cat_backColor).toDictionary()).r, 0.9, 1e-6);
    EXPECT_EQ(a.categories.count(), 2);
    EXPECT_EQ(a.emails.count(), 2);

    EXPECT_EQ(r.updatedFromB, (QStringList{QStringLiteral("Bank"), QStringLiteral("Shop Online"), QStringLiteral("Twin two")}));
    EXPECT_EQ(r.keptFromA, QStringList{QStringLiteral("Mail")});
    EXPECT_EQ(r.conflicts, QStringList{QStringLiteral("Forum (conflict)")});
    EXPECT_EQ(r.added, (QStringList{QStringLiteral("Only B"), QStringLiteral("Moved")}));
    EXPECT_EQ(r.onlyInA, QStringList{QStringLiteral("Only A")});
    EXPECT_EQ(r.categoriesAdded, QStringList{QStringLiteral("Games")});
    EXPECT_EQ(r.emailsAdded, 1);
    // Merging the result with B again changes nothing more.
    const MergeReport again = merge(a, b);
    EXPECT_FALSE(again.changedA()) << again.added.join(QLatin1Char(',')).toStdString();
    EXPECT_EQ(a.records.count(), 10);

    // B's records were copied, not shared: changing the result leaves B as it was.
    a.named(QStringLiteral("Only B")).set(keys::note, Value("changed in A"));
    EXPECT_TRUE(b.named(QStringLiteral("Only B")).value(keys::note).toString().isEmpty());
}

// Records of old generations have no dates: they match on what they hold.
TEST(DocumentMerge, UndatedRecordsMatchOnTheirFields) {
    Side a, b;
    auto undated = [](Side& s, const QString& name, const QString& password) {
        Dictionary r;
        r.set(keys::name, Value(name));
        r.set(keys::password, Value(password));
        r.set(keys::categoryPtr, s.category(QStringLiteral("Generic"), 0.5));
        s.records.append(Value(r));
    };
    undated(a, QStringLiteral("Old"), QStringLiteral("one"));
    undated(b, QStringLiteral("Old"), QStringLiteral("one"));
    undated(b, QStringLiteral("Old"), QStringLiteral("two"));  // same name, other password: another record
    const MergeReport r = merge(a, b);
    EXPECT_EQ(a.records.count(), 2);
    EXPECT_EQ(r.added, QStringList{QStringLiteral("Old")});
    EXPECT_TRUE(r.onlyInA.isEmpty());
}
