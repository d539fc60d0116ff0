#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>

#include <chrono>
#include <functional>

namespace moritane::testing {

/// Runs this thread's Qt events until `done` holds; false when `limit` passes first.
inline bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const QDeadlineTimer deadline(limit);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    return done();
}

/// Runs the queued events, redraws among them, and deletes the widgets they replaced.
inline void settle() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

}  // namespace moritane::testing
