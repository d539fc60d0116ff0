#pragma once

#include "support/RunLoop.h"

#include <QObject>

#include <memory>
#include <vector>

namespace moritane {

/// The main run loop on Qt's event loop. Qt has no run-loop modes, so they are kept here: while
/// the loop is in the event-tracking mode a default-mode timer that falls due waits, and fires
/// once when the loop returns to the default mode. Make it on the main thread, after the
/// application object.
class QtRunLoop final : public RunLoop {
public:
    QtRunLoop();
    QtRunLoop(const QtRunLoop&) = delete;
    QtRunLoop& operator=(const QtRunLoop&) = delete;
    QtRunLoop(QtRunLoop&&) = delete;
    QtRunLoop& operator=(QtRunLoop&&) = delete;
    ~QtRunLoop() override;

    void post(std::function<void()> work) override;
    std::shared_ptr<Timer> scheduleTimer(Duration interval, bool repeats, TimerModes modes,
                                         std::function<void()> action) override;
    [[nodiscard]] TimePoint now() const override { return Clock::now(); }
    [[nodiscard]] bool isMainThread() const override;

    /// Enters or leaves the event-tracking mode, as while one of the application's menus is open.
    void setMode(RunLoopMode mode);
    [[nodiscard]] RunLoopMode mode() const { return m_mode; }

private:
    class QtTimer;

    void sweep();

    std::unique_ptr<QObject> m_context;
    RunLoopMode m_mode = RunLoopMode::defaultMode;
    // The loop keeps its timers, as a run loop does, until they are invalidated.
    std::vector<std::shared_ptr<QtTimer>> m_timers;
};

}  // namespace moritane
