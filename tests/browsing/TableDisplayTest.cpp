#include "browsing/MyTableDelegate.h"

#include <gtest/gtest.h>

using namespace qv;

TEST(TableDisplay, MaskingAndTrimming) {
    EXPECT_EQ(MyTableDelegate::maskedText(Value("secret12"), false), QString(8, QChar(0x2022)));
    EXPECT_EQ(MyTableDelegate::maskedText(Value(QString::fromUtf8("\xF0\x9F\x94\x91")), false).size(), 2);  // units
    EXPECT_EQ(MyTableDelegate::maskedText(Value(""), false), QString());
    EXPECT_EQ(MyTableDelegate::maskedText(Value(), true), QString());
    EXPECT_EQ(MyTableDelegate::maskedText(Value("shown"), true), QStringLiteral("shown"));

    auto tenPerChar = [](const QString& s) { return 10.0 * double(s.size()); };
    EXPECT_EQ(MyTableDelegate::trimStringToFit(QStringLiteral("Bank"), 40, tenPerChar), QStringLiteral("Bank"));
    EXPECT_EQ(MyTableDelegate::trimStringToFit(QStringLiteral("Banking"), 60, tenPerChar), QStringLiteral("Bank.."));
    EXPECT_EQ(MyTableDelegate::trimStringToFit(QStringLiteral("Banking"), 0, tenPerChar), QStringLiteral("B.."));
}

TEST(TableDisplay, LabelGeometryAndPagination) {
    EXPECT_FALSE(MyTableDelegate::categoryLabel(2.5, 20).draw);
    EXPECT_FALSE(MyTableDelegate::categoryLabel(100, 2).draw);
    const auto g = MyTableDelegate::categoryLabel(100.7, 19);
    ASSERT_TRUE(g.draw);
    EXPECT_EQ(g.w, 97);
    EXPECT_EQ(g.h, 17);
    EXPECT_EQ(g.radius, 8);
    EXPECT_DOUBLE_EQ(g.textX, 1 + 8 * 0.6);

    TablePrinting p{612, 792, 36, 36, 18, 18, 17, 2};
    EXPECT_EQ(p.calculatePrintHeight(), 37 * 19);  // whole rows only
    EXPECT_EQ(p.pageCount(37 * 19), 1);
    EXPECT_EQ(p.pageCount(37 * 19 + 19), 2);
    EXPECT_EQ(p.rectForPage(3).y, 2 * 37 * 19);
    EXPECT_EQ(p.calculatePrintWidth(), 576);
}
