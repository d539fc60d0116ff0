#pragma once

#include "support/RunLoop.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace moritane {

/// A run loop in virtual time for tests: posted work and timers run only when the test says so.
/// Work may be posted from any thread; everything else belongs to the thread that made it.
class ManualRunLoop final : public RunLoop {
public:
    /// 2026-01-01 00:00:00 UTC: a fixed start, so that tests can name exact times.
    static constexpr TimePoint defaultStart{std::chrono::seconds(1767225600)};

    explicit ManualRunLoop(TimePoint start = defaultStart);
    ManualRunLoop(const ManualRunLoop&) = delete;
    ManualRunLoop& operator=(const ManualRunLoop&) = delete;
    ManualRunLoop(ManualRunLoop&&) = delete;
    ManualRunLoop& operator=(ManualRunLoop&&) = delete;
    ~ManualRunLoop() override;

    void post(std::function<void()> work) override;
    std::shared_ptr<Timer> scheduleTimer(Duration interval, bool repeats, TimerModes modes,
                                         std::function<void()> action) override;
    [[nodiscard]] TimePoint now() const override { return m_now; }
    [[nodiscard]] bool isMainThread() const override { return std::this_thread::get_id() == m_mainThread; }

    /// Runs posted work, including work posted meanwhile, until none is left; returns how much ran.
    std::size_t drainMain();

    /// Waits until some work is posted (by another thread), then drains the main queue. For tests
    /// whose other threads wait on the main thread.
    std::size_t waitAndDrainMain();
    /// The same, giving up after `timeout` with nothing run.
    std::size_t waitAndDrainMain(std::chrono::milliseconds timeout);

    /// Moves time on by `duration`, firing each timer that falls due in the current mode at its
    /// own time, in time order, and draining the main queue after each firing and at the end.
    /// advance(0) fires what is overdue, as after a return to the default mode.
    void advance(Duration duration);

    /// Switches the mode; timers that fall due meanwhile wait until a mode they fire in.
    void setMode(RunLoopMode mode) { m_mode = mode; }
    [[nodiscard]] RunLoopMode mode() const { return m_mode; }

    [[nodiscard]] std::size_t pendingWork() const;
    [[nodiscard]] std::size_t validTimers() const;

private:
    class ManualTimer;

    std::shared_ptr<ManualTimer> nextDueTimer(TimePoint limit) const;
    void fire(const std::shared_ptr<ManualTimer>& timer);

    TimePoint m_now;
    RunLoopMode m_mode = RunLoopMode::defaultMode;
    std::thread::id m_mainThread = std::this_thread::get_id();
    mutable std::mutex m_workMutex;
    std::condition_variable m_workPosted;
    std::deque<std::function<void()>> m_work;
    std::vector<std::shared_ptr<ManualTimer>> m_timers;
    std::uint64_t m_nextTimerSequence = 0;
};

}  // namespace moritane
