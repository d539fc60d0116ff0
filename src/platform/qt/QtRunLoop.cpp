#include "platform/qt/QtRunLoop.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace moritane {

class QtRunLoop::QtTimer final : public Timer {
public:
    QtTimer(QtRunLoop& loop, Duration interval, bool repeats, TimerModes modes, std::function<void()> action)
        : m_loop(loop), m_modes(modes), m_action(std::move(action)) {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setSingleShot(!repeats);
        m_timer.setInterval(static_cast<int>(std::max<Duration::rep>(interval.count(), 1)));
        QObject::connect(&m_timer, &QTimer::timeout, [this] { due(); });
        m_timer.start();
    }

    void invalidate() override {
        if (!m_valid) {
            return;
        }
        m_valid = false;
        m_deferred = false;
        m_timer.stop();
        // Not now: this may run inside the timer's own signal.
        m_loop.post([&loop = m_loop] { loop.sweep(); });
    }

    [[nodiscard]] bool isValid() const override { return m_valid; }

    /// Fires a firing that waited for the default mode.
    void fireDeferred() {
        if (m_deferred && m_valid) {
            m_deferred = false;
            fire();
        }
    }

private:
    void due() {
        if (m_modes == TimerModes::defaultMode && m_loop.mode() != RunLoopMode::defaultMode) {
            m_deferred = true;
            return;
        }
        fire();
    }

    void fire() {
        if (m_timer.isSingleShot()) {
            invalidate();
        }
        m_action();
    }

    QtRunLoop& m_loop;
    const TimerModes m_modes;
    const std::function<void()> m_action;
    QTimer m_timer;
    bool m_valid = true;
    bool m_deferred = false;
};

QtRunLoop::QtRunLoop() : m_context(std::make_unique<QObject>()) {}

QtRunLoop::~QtRunLoop() {
    for (const auto& timer : m_timers) {
        timer->invalidate();
    }
}

void QtRunLoop::post(std::function<void()> work) {
    QMetaObject::invokeMethod(m_context.get(), std::move(work), Qt::QueuedConnection);
}

std::shared_ptr<Timer> QtRunLoop::scheduleTimer(Duration interval, bool repeats, TimerModes modes,
                                                std::function<void()> action) {
    auto timer = std::make_shared<QtTimer>(*this, interval, repeats, modes, std::move(action));
    m_timers.push_back(timer);
    return timer;
}

bool QtRunLoop::isMainThread() const {
    return QThread::currentThread() == m_context->thread();
}

void QtRunLoop::setMode(RunLoopMode mode) {
    m_mode = mode;
    if (mode != RunLoopMode::defaultMode) {
        return;
    }
    // A copy: a firing may schedule or invalidate timers.
    const auto timers = m_timers;
    for (const auto& timer : timers) {
        timer->fireDeferred();
    }
}

void QtRunLoop::sweep() {
    std::erase_if(m_timers, [](const auto& timer) { return !timer->isValid(); });
}

}  // namespace moritane
