#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>

namespace moritane {

/// The modes a main run loop can run in. While one of the application's menus is tracked the
/// loop runs in `eventTracking`.
enum class RunLoopMode { defaultMode, eventTracking };

/// Which modes a timer fires in: the default mode only, or the common modes (both).
enum class TimerModes { defaultMode, common };

/// A scheduled timer. The run loop keeps it until it is invalidated (or, for a one-shot timer,
/// until it has fired): dropping the last handle does not stop it.
class Timer {
public:
    virtual ~Timer() = default;
    /// Stops the timer for good. Main thread; safe to call more than once and from its own action.
    virtual void invalidate() = 0;
    [[nodiscard]] virtual bool isValid() const = 0;
};

/// The main thread's run loop: its queue, its timers and its clock.
class RunLoop {
public:
    using Clock = std::chrono::system_clock;
    using TimePoint = Clock::time_point;
    using Duration = std::chrono::milliseconds;

    virtual ~RunLoop() = default;

    /// Queues `work` to run on the main thread in a later turn, after work posted before it.
    /// Callable from any thread.
    virtual void post(std::function<void()> work) = 0;

    /// Schedules a timer on the main run loop, first firing `interval` from now; a repeating
    /// timer keeps its schedule from the first firing time, skipping firings it missed. A timer
    /// due while the loop runs in a mode it is not scheduled for fires once the loop returns to
    /// one it is. Main thread only.
    virtual std::shared_ptr<Timer> scheduleTimer(Duration interval, bool repeats, TimerModes modes,
                                                 std::function<void()> action) = 0;

    /// The wall-clock time. Any thread.
    [[nodiscard]] virtual TimePoint now() const = 0;

    /// Whether the caller runs on the main thread.
    [[nodiscard]] virtual bool isMainThread() const = 0;

    /// Runs `work` on the main thread and returns when it has run: at once when the caller is
    /// the main thread, otherwise by posting it and waiting.
    void sync(const std::function<void()>& work) {
        if (isMainThread()) {
            work();
            return;
        }
        std::promise<void> done;
        post([&] {
            work();
            done.set_value();
        });
        done.get_future().wait();
    }
};

}  // namespace moritane
