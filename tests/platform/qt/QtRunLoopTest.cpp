#include "platform/qt/QtRunLoop.h"

#include "testsupport/QtWait.h"

#include <gtest/gtest.h>

#include <thread>

namespace moritane {
namespace {

using namespace std::chrono_literals;

using testing::runUntil;

TEST(QtRunLoopTest, WorkPostedFromAnotherThreadRunsOnTheMainThreadInOrder) {
    QtRunLoop runLoop;
    std::vector<int> order;
    bool allOnMain = true;
    std::thread other([&] {
        EXPECT_FALSE(runLoop.isMainThread());
        for (int i = 0; i < 50; ++i) {
            runLoop.post([&, i] {
                order.push_back(i);
                allOnMain = allOnMain && runLoop.isMainThread();
            });
        }
    });
    other.join();
    ASSERT_TRUE(runUntil([&] { return order.size() == 50; }));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_TRUE(allOnMain);
}

TEST(QtRunLoopTest, OneShotTimersFireOnceAndRepeatingOnesUntilInvalidated) {
    QtRunLoop runLoop;
    int once = 0;
    int repeated = 0;
    const auto oneShot = runLoop.scheduleTimer(5ms, false, TimerModes::defaultMode, [&] { ++once; });
    std::shared_ptr<Timer> repeating;
    repeating = runLoop.scheduleTimer(5ms, true, TimerModes::common, [&] {
        if (++repeated == 3) {
            repeating->invalidate();
        }
    });
    ASSERT_TRUE(runUntil([&] { return once == 1 && repeated == 3 && !repeating->isValid(); }));
    bool later = false;
    runLoop.scheduleTimer(30ms, false, TimerModes::defaultMode, [&] { later = true; });
    ASSERT_TRUE(runUntil([&] { return later; }));
    EXPECT_EQ(once, 1);
    EXPECT_EQ(repeated, 3);
    EXPECT_FALSE(oneShot->isValid());
}

TEST(QtRunLoopTest, DefaultModeTimersWaitWhileTrackingAndFireOnceOnReturn) {
    QtRunLoop runLoop;
    int heartbeat = 0;
    int watchdog = 0;
    runLoop.scheduleTimer(5ms, true, TimerModes::defaultMode, [&] { ++heartbeat; });
    runLoop.scheduleTimer(5ms, true, TimerModes::common, [&] { ++watchdog; });
    runLoop.setMode(RunLoopMode::eventTracking);
    ASSERT_TRUE(runUntil([&] { return watchdog >= 4; }));
    EXPECT_EQ(heartbeat, 0);
    runLoop.setMode(RunLoopMode::defaultMode);
    EXPECT_EQ(heartbeat, 1);  // the waiting firing, once
    ASSERT_TRUE(runUntil([&] { return heartbeat >= 3; }));
}

}  // namespace
}  // namespace moritane

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
