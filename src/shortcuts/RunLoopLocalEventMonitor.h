#pragma once

#include "shortcuts/HotKeyService.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace moritane::GlobalShortcuts {

/// Sees the application's own events while a run-loop mode runs (menu tracking), from an
/// observer of the run loop: each time, it takes every queued event and puts back all but those
/// its callback consumes.
class RunLoopLocalEventMonitor {
public:
    /// Gives the event back to let it through, or nothing to consume it.
    using Callback = std::function<std::optional<ApplicationEvent>(const ApplicationEvent&)>;

    RunLoopLocalEventMonitor(HotKeyService& service, std::uint64_t eventMask, RunLoopMode mode, Callback callback);
    RunLoopLocalEventMonitor(const RunLoopLocalEventMonitor&) = delete;
    RunLoopLocalEventMonitor& operator=(const RunLoopLocalEventMonitor&) = delete;
    RunLoopLocalEventMonitor(RunLoopLocalEventMonitor&&) = delete;
    RunLoopLocalEventMonitor& operator=(RunLoopLocalEventMonitor&&) = delete;
    /// Removes its observer from the run loop.
    ~RunLoopLocalEventMonitor();

    void start() { m_service.addRunLoopObserver(m_observer, m_runLoopMode); }
    void stop() { m_service.removeRunLoopObserver(m_observer, m_runLoopMode); }

private:
    void beforeSources();

    HotKeyService& m_service;
    std::uint64_t m_eventMask;
    RunLoopMode m_runLoopMode;
    Callback m_callback;
    HotKeyService::RunLoopObserverRef m_observer;
};

}  // namespace moritane::GlobalShortcuts
