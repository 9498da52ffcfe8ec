#include "browsing/ZKVSplitViewDelegate.h"

#include <gtest/gtest.h>

using qv::ZKVSplitViewDelegate;

TEST(SplitView, GrowingRulesAndLimits) {
    ZKVSplitViewDelegate d;
    d.configureForMainWindow();
    const double t = 1;
    // Rule 2 shares growth half and half.
    auto r = d.resizeSubviewsWithOldSize(1001, t, 300, 600, false, false);
    EXPECT_DOUBLE_EQ(r.left, 350);
    EXPECT_DOUBLE_EQ(r.right, 650);
    EXPECT_DOUBLE_EQ(r.rightX, 351);
    // Too narrow a window: the right view keeps its minimum, the left goes below its own.
    r = d.resizeSubviewsWithOldSize(700, t, 300, 600, false, false);
    EXPECT_DOUBLE_EQ(r.right, 530);
    EXPECT_DOUBLE_EQ(r.left, 169);
    // Rule 1 never applies the right limit.
    d.growingRule = 1;
    r = d.resizeSubviewsWithOldSize(700, t, 300, 600, false, false);
    EXPECT_DOUBLE_EQ(r.left, 260);
    EXPECT_DOUBLE_EQ(r.right, 439);
    // Rule 0: the right view takes it.
    d.growingRule = 0;
    r = d.resizeSubviewsWithOldSize(1101, t, 300, 600, false, false);
    EXPECT_DOUBLE_EQ(r.right, 800);
    EXPECT_DOUBLE_EQ(r.left, 300);
    // A collapsed right view keeps its width; the left takes the rest.
    r = d.resizeSubviewsWithOldSize(900, t, 300, 600, false, true);
    EXPECT_DOUBLE_EQ(r.left, 899);
    EXPECT_DOUBLE_EQ(r.right, 600);
    EXPECT_LT(r.rightX, 0);  // no new x for a collapsed layout
    d.growingRule = 7;
    r = d.resizeSubviewsWithOldSize(900, t, 300, 600, false, false);
    EXPECT_DOUBLE_EQ(r.left, 300);

    EXPECT_DOUBLE_EQ(d.rightFrameInsideLimits(12000), 9999);
    ZKVSplitViewDelegate loading;  // before awaking nothing is clamped
    EXPECT_DOUBLE_EQ(loading.leftFrameInsideLimits(5), 5);
}

TEST(SplitView, ConstraintsAndExpandingAfterGrowth) {
    ZKVSplitViewDelegate d;
    d.configureForMainWindow();
    EXPECT_DOUBLE_EQ(d.constrainMaxCoordinate(1000, 1, 0), 469);  // 1000 - 530 - 1
    EXPECT_DOUBLE_EQ(d.constrainMaxCoordinate(20000, 1, 0), 9999);
    EXPECT_DOUBLE_EQ(d.constrainMinCoordinate(0), 260);
    EXPECT_DOUBLE_EQ(d.constrainMinCoordinate(1), 530);
    EXPECT_FALSE(d.canCollapseSubview(0));
    EXPECT_TRUE(d.canCollapseSubview(1));
    // The window grew by 100 while the pane was collapsed: the pane gets 50 more.
    EXPECT_DOUBLE_EQ(d.expandRightViewToVal(600, 1300, 1, 1200), 650);
    // It never squeezes the left view below its minimum.
    EXPECT_DOUBLE_EQ(d.expandRightViewToVal(800, 900, 1, 900), 639);
    EXPECT_DOUBLE_EQ(d.collapseRightViewPosition(1000), 736);
    EXPECT_DOUBLE_EQ(d.expandToMinRightViewPosition(1000), 734);
}
