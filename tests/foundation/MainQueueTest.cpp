#include "foundation/MainQueue.h"

#include "support/EventLoop.h"

#include <gtest/gtest.h>

using namespace qv;

TEST(MainQueue, PostedStepsRunLaterInOrder) {
    QStringList log;
    MainQueue::post([&] { log << QStringLiteral("first"); });
    MainQueue::post([&] {
        log << QStringLiteral("second");
        MainQueue::post([&] { log << QStringLiteral("posted from a step"); });
    });
    log << QStringLiteral("now");
    ASSERT_TRUE(test::spinUntil([&] { return log.size() == 4; }));
    EXPECT_EQ(log, (QStringList{QStringLiteral("now"), QStringLiteral("first"), QStringLiteral("second"),
                                QStringLiteral("posted from a step")}));
}

TEST(SingleShotTimer, FiresOnceAndCanBeCancelledOrReplaced) {
    SingleShotTimer timer;
    int fired = 0;
    timer.start(0.01, [&] { ++fired; });
    EXPECT_TRUE(timer.isActive());
    ASSERT_TRUE(test::spinUntil([&] { return fired == 1; }));
    EXPECT_FALSE(timer.isActive());

    timer.start(0.01, [&] { fired += 10; });
    timer.cancel();
    test::spinFor(50);
    EXPECT_EQ(fired, 1);

    // Starting again replaces the pending action.
    timer.start(10, [&] { fired += 100; });
    timer.start(0.01, [&] { fired += 1000; });
    ASSERT_TRUE(test::spinUntil([&] { return fired == 1001; }));

    // An action may restart its own timer.
    int chained = 0;
    std::function<void()> again = [&] {
        if (++chained < 3) timer.start(0, again);
    };
    timer.start(0, again);
    ASSERT_TRUE(test::spinUntil([&] { return chained == 3; }));
}
