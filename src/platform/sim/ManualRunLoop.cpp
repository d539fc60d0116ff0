#include "platform/sim/ManualRunLoop.h"

#include <algorithm>
#include <tuple>

namespace moritane {

class ManualRunLoop::ManualTimer final : public Timer {
public:
    ManualTimer(std::uint64_t sequenceNumber, TimePoint firstFiring, Duration every, bool repeating,
                TimerModes firingModes, std::function<void()> work)
        : sequence(sequenceNumber),
          fireDate(firstFiring),
          interval(every),
          repeats(repeating),
          modes(firingModes),
          action(std::move(work)) {}

    void invalidate() override { valid = false; }
    [[nodiscard]] bool isValid() const override { return valid; }

    [[nodiscard]] bool firesIn(RunLoopMode mode) const {
        return modes == TimerModes::common || mode == RunLoopMode::defaultMode;
    }

    const std::uint64_t sequence;
    TimePoint fireDate;
    const Duration interval;
    const bool repeats;
    const TimerModes modes;
    const std::function<void()> action;
    bool valid = true;
};

ManualRunLoop::ManualRunLoop(TimePoint start) : m_now(start) {}

ManualRunLoop::~ManualRunLoop() {
    // Timers may outlive the loop in their owners' hands; they must not fire into it again.
    for (const auto& timer : m_timers) {
        timer->invalidate();
    }
}

void ManualRunLoop::post(std::function<void()> work) {
    {
        const std::scoped_lock lock(m_workMutex);
        m_work.push_back(std::move(work));
    }
    m_workPosted.notify_all();
}

std::shared_ptr<Timer> ManualRunLoop::scheduleTimer(Duration interval, bool repeats, TimerModes modes,
                                                    std::function<void()> action) {
    // As on the real loop, a timer cannot repeat faster than the clock's resolution.
    interval = std::max(interval, Duration{1});
    auto timer = std::make_shared<ManualTimer>(m_nextTimerSequence++, m_now + interval, interval, repeats, modes,
                                               std::move(action));
    m_timers.push_back(timer);
    return timer;
}

std::size_t ManualRunLoop::drainMain() {
    std::size_t count = 0;
    while (true) {
        std::function<void()> work;
        {
            const std::scoped_lock lock(m_workMutex);
            if (m_work.empty()) {
                return count;
            }
            work = std::move(m_work.front());
            m_work.pop_front();
        }
        work();
        ++count;
    }
}

std::size_t ManualRunLoop::waitAndDrainMain() {
    {
        std::unique_lock lock(m_workMutex);
        m_workPosted.wait(lock, [this] { return !m_work.empty(); });
    }
    return drainMain();
}

std::size_t ManualRunLoop::waitAndDrainMain(std::chrono::milliseconds timeout) {
    {
        std::unique_lock lock(m_workMutex);
        if (!m_workPosted.wait_for(lock, timeout, [this] { return !m_work.empty(); })) {
            return 0;
        }
    }
    return drainMain();
}

std::shared_ptr<ManualRunLoop::ManualTimer> ManualRunLoop::nextDueTimer(TimePoint limit) const {
    std::shared_ptr<ManualTimer> next;
    for (const auto& timer : m_timers) {
        if (!timer->valid || !timer->firesIn(m_mode) || timer->fireDate > limit) {
            continue;
        }
        if (!next || std::tie(timer->fireDate, timer->sequence) < std::tie(next->fireDate, next->sequence)) {
            next = timer;
        }
    }
    return next;
}

void ManualRunLoop::fire(const std::shared_ptr<ManualTimer>& timer) {
    m_now = std::max(m_now, timer->fireDate);
    if (timer->repeats) {
        // The schedule keeps its phase; firings missed while the timer could not fire are dropped.
        while (timer->fireDate <= m_now) {
            timer->fireDate += timer->interval;
        }
    } else {
        timer->valid = false;
    }
    timer->action();
}

void ManualRunLoop::advance(Duration duration) {
    const auto target = m_now + duration;
    drainMain();
    while (const auto timer = nextDueTimer(target)) {
        fire(timer);
        drainMain();
    }
    m_now = std::max(m_now, target);
    std::erase_if(m_timers, [](const auto& timer) { return !timer->valid; });
    drainMain();
}

std::size_t ManualRunLoop::pendingWork() const {
    const std::scoped_lock lock(m_workMutex);
    return m_work.size();
}

std::size_t ManualRunLoop::validTimers() const {
    return static_cast<std::size_t>(
        std::count_if(m_timers.begin(), m_timers.end(), [](const auto& timer) { return timer->valid; }));
}

}  // namespace moritane
