#include "shortcuts/RunLoopLocalEventMonitor.h"

#include <vector>

namespace moritane::GlobalShortcuts {

RunLoopLocalEventMonitor::RunLoopLocalEventMonitor(HotKeyService& service, std::uint64_t eventMask, RunLoopMode mode,
                                                   Callback callback)
    : m_service(service),
      m_eventMask(eventMask),
      m_runLoopMode(mode),
      m_callback(std::move(callback)),
      m_observer(service.createRunLoopObserver([this] { beforeSources(); })) {}

RunLoopLocalEventMonitor::~RunLoopLocalEventMonitor() {
    stop();
}

void RunLoopLocalEventMonitor::beforeSources() {
    std::vector<ApplicationEvent> taken;
    while (auto event = m_service.nextEvent()) {
        taken.push_back(*event);
    }
    // Every event taken goes back unless the callback consumes it.
    for (const auto& event : taken) {
        const bool watched =
            event.type >= 64 ||
            (event.type >= 0 && (m_eventMask & (std::uint64_t{1} << static_cast<unsigned>(event.type))) != 0U);
        if (!watched) {
            m_service.postEvent(event, false);
        } else if (auto passed = m_callback(event)) {
            m_service.postEvent(*passed, false);
        }
    }
}

}  // namespace moritane::GlobalShortcuts
