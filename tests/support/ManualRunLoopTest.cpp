#include "platform/sim/ManualRunLoop.h"

#include <gtest/gtest.h>

#include <vector>

namespace moritane {
namespace {

using namespace std::chrono_literals;

TEST(ManualRunLoopTest, RepeatingTimersKeepTheirPhaseAndOneShotsFireOnce) {
    ManualRunLoop loop;
    const auto start = loop.now();
    std::vector<RunLoop::Duration> repeating;
    std::vector<RunLoop::Duration> once;
    loop.scheduleTimer(1000ms, true, TimerModes::defaultMode,
                       [&] { repeating.push_back(std::chrono::duration_cast<RunLoop::Duration>(loop.now() - start)); });
    loop.scheduleTimer(2500ms, false, TimerModes::common,
                       [&] { once.push_back(std::chrono::duration_cast<RunLoop::Duration>(loop.now() - start)); });
    loop.advance(3200ms);
    loop.advance(3000ms);
    EXPECT_EQ(repeating, (std::vector<RunLoop::Duration>{1000ms, 2000ms, 3000ms, 4000ms, 5000ms, 6000ms}));
    EXPECT_EQ(once, std::vector<RunLoop::Duration>{2500ms});
    EXPECT_EQ(loop.now() - start, 6200ms);
    EXPECT_EQ(loop.validTimers(), 1U);
}

TEST(ManualRunLoopTest, DefaultModeTimersWaitWhileTrackingAndFireOnceAfterwards) {
    ManualRunLoop loop;
    int heartbeat = 0;
    int watchdog = 0;
    loop.scheduleTimer(1000ms, true, TimerModes::defaultMode, [&] { ++heartbeat; });
    loop.scheduleTimer(1000ms, true, TimerModes::common, [&] { ++watchdog; });
    loop.setMode(RunLoopMode::eventTracking);
    loop.advance(5500ms);
    EXPECT_EQ(heartbeat, 0);
    EXPECT_EQ(watchdog, 5);
    loop.setMode(RunLoopMode::defaultMode);
    loop.advance(0ms);
    EXPECT_EQ(heartbeat, 1);  // the missed firings are not made up
    loop.advance(500ms);
    EXPECT_EQ(heartbeat, 2);  // back on the original schedule, at 6 s
}

TEST(ManualRunLoopTest, ATimerMayInvalidateItselfAndWorkPostedByTimersRunsBeforeTheNextFiring) {
    ManualRunLoop loop;
    std::vector<std::string> events;
    std::shared_ptr<Timer> timer;
    timer = loop.scheduleTimer(1000ms, true, TimerModes::defaultMode, [&] {
        events.emplace_back("fire");
        loop.post([&] { events.emplace_back("posted"); });
        if (events.size() > 2) {
            timer->invalidate();
        }
    });
    loop.advance(10s);
    EXPECT_EQ(events, (std::vector<std::string>{"fire", "posted", "fire", "posted"}));
    EXPECT_FALSE(timer->isValid());
}

}  // namespace
}  // namespace moritane
