#include "browsing/TableColumns.h"

#include <gtest/gtest.h>

using namespace qv;

TEST(TableColumns, PresetsNeverTouchNameAndCustomArraysRoundTrip) {
    TableColumns t;
    // A new table starts as compact plus the three bookkeeping columns.
    EXPECT_FALSE(t.isHidden(QStringLiteral("category")));
    EXPECT_FALSE(t.isHidden(QStringLiteral("usageCount")));
    EXPECT_TRUE(t.isHidden(QStringLiteral("password")));

    // A saved entry may hide "name"; no preset brings it back.
    t.applyColumnVisibility(Value(Array{Value(Dictionary{{QStringLiteral("name"), Value("name")},
                                                         {QStringLiteral("hidden"), Value::boolean(true)}}),
                                        Value(Dictionary{{QStringLiteral("name"), Value("nosuchcolumn")},
                                                         {QStringLiteral("hidden"), Value::boolean(true)}})}));
    EXPECT_TRUE(t.isHidden(QStringLiteral("name")));
    t.setColumnVisibilityAll();
    EXPECT_TRUE(t.isHidden(QStringLiteral("name")));
    EXPECT_FALSE(t.isHidden(QStringLiteral("security")));
    t.setColumnVisibilityAllMinusCMA();
    EXPECT_TRUE(t.isHidden(QStringLiteral("createdDate")));
    EXPECT_FALSE(t.isHidden(QStringLiteral("email")));
    t.setColumnVisibilityCompact();
    EXPECT_TRUE(t.isHidden(QStringLiteral("email")));
    EXPECT_FALSE(t.isHidden(QStringLiteral("category")));

    t.switchVisibilityColumnWithIdentifier(QStringLiteral("pin"));
    EXPECT_FALSE(t.isHidden(QStringLiteral("pin")));
    t.switchVisibilityColumnWithIdentifier(QStringLiteral("pin"));
    EXPECT_TRUE(t.isHidden(QStringLiteral("pin")));

    // Arrays follow the table's order; applying them to another table sets state, not order.
    t.setWidth(QStringLiteral("url"), 333.5);
    t.moveColumn(7, 0);
    const Value sizes = t.getColumnSize();
    EXPECT_EQ(sizes.toArray().at(0).toDictionary().value(QStringLiteral("name")).toString(), QStringLiteral("url"));
    EXPECT_TRUE(sizes.toArray().at(0).toDictionary().value(QStringLiteral("size")).isReal32());
    TableColumns other;
    other.applyColumnSize(sizes);
    other.applyColumnVisibility(t.getColumnVisibility());
    EXPECT_EQ(other.column(QStringLiteral("url"))->width, 333.5);
    EXPECT_EQ(other.columns().front().identifier, QStringLiteral("category"));
    EXPECT_TRUE(other.isHidden(QStringLiteral("name")));
    other.applyColumnSize(Value());  // nothing given does nothing
    EXPECT_EQ(TableColumns::recordKeyFor(QStringLiteral("createdDate")), QStringLiteral("creationDate"));
}
