#pragma once

#include "shortcuts/HotKeyService.h"
#include "support/Log.h"
#include "support/RunLoop.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

struct xcb_connection_t;

namespace moritane {

/// Hot keys on X11: each registration is a passive grab of the key on the root window, made
/// with and without Caps Lock and Num Lock so that a shortcut works whatever lock is on. The
/// server ends such a grab at the first key that comes up, so releases are read from the raw key
/// events of XInput 2, which reach us whoever has the keyboard; they also give the raw key events
/// while a menu of ours holds the keyboard. Events are read on a thread of their own and handed to
/// the handler on the main thread. Without an X display with XInput 2.1 every registration fails
/// and nothing else changes.
class X11HotKeyService final : public GlobalShortcuts::HotKeyService {
public:
    /// Connects to $DISPLAY (or `displayName`).
    X11HotKeyService(RunLoop& mainQueue, Log& log, const char* displayName = nullptr);
    X11HotKeyService(const X11HotKeyService&) = delete;
    X11HotKeyService& operator=(const X11HotKeyService&) = delete;
    X11HotKeyService(X11HotKeyService&&) = delete;
    X11HotKeyService& operator=(X11HotKeyService&&) = delete;
    ~X11HotKeyService() override;

    [[nodiscard]] bool hasEventDispatcherTarget() const override;
    GlobalShortcuts::OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                                  GlobalShortcuts::EventHotKeyID id, HotKeyRef& hotKey) override;
    GlobalShortcuts::OSStatus unregisterEventHotKey(HotKeyRef hotKey) override;
    GlobalShortcuts::OSStatus installEventHandler(EventHandler handler, EventHandlerRef& handlerRef) override;
    GlobalShortcuts::OSStatus addEventTypesToHandler(EventHandlerRef handler,
                                                     const std::vector<GlobalShortcuts::EventTypeSpec>& types) override;
    GlobalShortcuts::OSStatus removeEventTypesFromHandler(
        EventHandlerRef handler, const std::vector<GlobalShortcuts::EventTypeSpec>& types) override;
    [[nodiscard]] RawKeySource rawKeySource() const override { return RawKeySource::eventHandler; }

    // Raw keys go to the handler, so the application event queue and its observers stay empty.
    std::optional<GlobalShortcuts::ApplicationEvent> nextEvent() override { return std::nullopt; }
    void postEvent(GlobalShortcuts::ApplicationEvent /*event*/, bool /*atStart*/) override {}
    RunLoopObserverRef createRunLoopObserver(std::function<void()> /*beforeSources*/) override { return 0; }
    void addRunLoopObserver(RunLoopObserverRef /*observer*/, RunLoopMode /*mode*/) override {}
    void removeRunLoopObserver(RunLoopObserverRef /*observer*/, RunLoopMode /*mode*/) override {}

private:
    /// The X modifier mask for modifiers in service form: control, option, command and shift
    /// become Control, Mod1 (Alt), Mod4 (Super) and Shift; other bits are dropped.
    static std::uint16_t modifierMask(std::uint32_t carbonModifiers);

    /// Whether a key event's state holds exactly `mask`, whatever the locks.
    static bool matches(std::uint16_t state, std::uint16_t mask);

    struct Grab {
        std::uint8_t keyCode = 0;
        std::uint16_t mask = 0;
        GlobalShortcuts::EventHotKeyID id;
    };

    void readEvents();
    /// Main-thread calls that wait for a reply may read events off the socket: the reader must
    /// look at them.
    void wakeReader();
    void deliverPress(std::uint8_t keyCode, std::uint16_t state);
    void deliverRawKey(std::uint8_t keyCode, bool press);
    void report(const GlobalShortcuts::KeyboardEvent& event);
    bool grab(std::uint8_t keyCode, std::uint16_t mask);
    void ungrab(std::uint8_t keyCode, std::uint16_t mask);
    void readModifierMapping();

    RunLoop& m_mainQueue;
    Log& m_log;
    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint8_t m_xinputOpcode = 0;
    /// Whether a release from the server is a key coming up, not a repeat of a held one.
    bool m_releasesAreReal = false;
    /// Wakes the reader: to stop, or to look at events that a main-thread call read off the socket.
    int m_stopEvent = -1;
    std::atomic<bool> m_stopping = false;
    std::thread m_reader;
    /// Dropped at destruction, so that key events still queued for the main thread find nobody.
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);

    // Main thread only.
    std::map<HotKeyRef, Grab> m_grabs;
    HotKeyRef m_nextReference = 1;
    EventHandler m_handler;
    std::set<std::uint32_t> m_handledKinds;
    /// Presses reported whose release is still to come, kept even if the registration ends
    /// meanwhile: the X server repeats the press while a key is held.
    std::map<HotKeyRef, Grab> m_held;
    /// The keys down now, and the modifier each key is, for the state of raw key events.
    std::set<std::uint8_t> m_down;
    std::map<std::uint8_t, std::uint16_t> m_modifierKeys;
};

}  // namespace moritane
