#pragma once

#include "shortcuts/HotKeyService.h"

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace moritane {

/// A hot-key service in memory: records every call, refuses key combinations on demand, and
/// delivers presses the way the system would, to the handler for the event types it has.
class FakeHotKeyService final : public GlobalShortcuts::HotKeyService {
public:
    using OSStatus = GlobalShortcuts::OSStatus;
    using KeyboardEvent = GlobalShortcuts::KeyboardEvent;

    struct Registration {
        std::uint32_t keyCode = 0;
        std::uint32_t modifiers = 0;
        GlobalShortcuts::EventHotKeyID id;
    };

    [[nodiscard]] bool hasEventDispatcherTarget() const override { return true; }
    OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, GlobalShortcuts::EventHotKeyID id,
                                 HotKeyRef& hotKey) override;
    OSStatus unregisterEventHotKey(HotKeyRef hotKey) override;
    OSStatus installEventHandler(EventHandler handler, EventHandlerRef& handlerRef) override;
    OSStatus addEventTypesToHandler(EventHandlerRef handler,
                                    const std::vector<GlobalShortcuts::EventTypeSpec>& types) override;
    OSStatus removeEventTypesFromHandler(EventHandlerRef handler,
                                         const std::vector<GlobalShortcuts::EventTypeSpec>& types) override;
    [[nodiscard]] RawKeySource rawKeySource() const override { return rawKeys; }
    std::optional<GlobalShortcuts::ApplicationEvent> nextEvent() override;
    void postEvent(GlobalShortcuts::ApplicationEvent event, bool atStart) override;
    RunLoopObserverRef createRunLoopObserver(std::function<void()> beforeSources) override;
    void addRunLoopObserver(RunLoopObserverRef observer, RunLoopMode mode) override;
    void removeRunLoopObserver(RunLoopObserverRef observer, RunLoopMode mode) override;

    /// Presses (or releases) a key combination: a hot-key event when a live registration holds
    /// it and the handler takes hot-key events, else a raw key event when the handler takes
    /// those. None when nothing was delivered, else the handler's status.
    std::optional<OSStatus> press(std::uint32_t keyCode, std::uint32_t modifiers, bool down);
    /// Runs the observers added for `mode`, as the loop does before its sources.
    void runObservers(RunLoopMode mode);

    /// The live registrations, by reference.
    std::map<HotKeyRef, Registration> registrations;
    /// Key combinations (code, modifiers) that another program holds.
    std::set<std::pair<std::uint32_t, std::uint32_t>> refused;
    /// Every call, in order, as "register 18 6400 #3", "unregister #3", "add 5,6", "remove 1,3".
    std::vector<std::string> calls;
    std::set<std::uint32_t> handledKinds;
    std::deque<GlobalShortcuts::ApplicationEvent> applicationEvents;
    RawKeySource rawKeys = RawKeySource::eventHandler;
    std::size_t handlersInstalled = 0;

private:
    EventHandler m_handler;
    HotKeyRef m_nextReference = 100;
    std::map<RunLoopObserverRef, std::function<void()>> m_observers;
    std::set<std::pair<RunLoopObserverRef, RunLoopMode>> m_observersInModes;
};

}  // namespace moritane
