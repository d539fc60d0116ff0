#pragma once

#include "support/RunLoop.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace moritane::GlobalShortcuts {

/// The status codes of the keyboard event services.
using OSStatus = std::int32_t;
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus eventParameterNotFoundErr = -9870;
inline constexpr OSStatus eventNotHandledErr = -9874;

/// The keyboard event class, "keyb", and the kinds of it that the registry handles.
inline constexpr std::uint32_t kEventClassKeyboard = 0x6B657962;
namespace EventKind {
inline constexpr std::uint32_t rawKeyDown = 1;
inline constexpr std::uint32_t rawKeyUp = 3;
inline constexpr std::uint32_t hotKeyPressed = 5;
inline constexpr std::uint32_t hotKeyReleased = 6;
}  // namespace EventKind

struct EventTypeSpec {
    std::uint32_t eventClass = 0;
    std::uint32_t eventKind = 0;
    friend bool operator==(const EventTypeSpec&, const EventTypeSpec&) = default;
};

/// What identifies a registration to the service and comes back with its events.
struct EventHotKeyID {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    friend bool operator==(const EventHotKeyID&, const EventHotKeyID&) = default;
};

/// A keyboard event as the handler receives it. A parameter that the event does not carry reads
/// as not found.
struct KeyboardEvent {
    std::uint32_t kind = 0;
    /// Hot-key events: the registration's id.
    std::optional<EventHotKeyID> hotKeyID;
    /// Raw key events: the virtual key code and the modifiers in service form.
    std::optional<std::uint32_t> keyCode;
    std::optional<std::uint32_t> modifiers;
};

/// An event of the application's own queue, as the local event monitor sees it.
struct ApplicationEvent {
    /// The event type: key down is 10, key up 11.
    std::int64_t type = 0;
    /// The keyboard event behind it, for key events.
    std::optional<KeyboardEvent> eventRef;
    /// Tells events apart.
    std::uint64_t serial = 0;
};

/// The system's keyboard event and hot-key services: registrations of key combinations that
/// work whichever program has the keyboard, one event handler whose event types can be added and
/// removed, and the application's event queue and run-loop observers. Main thread.
class HotKeyService {
public:
    using HotKeyRef = std::uint64_t;
    using EventHandlerRef = std::uint64_t;
    using RunLoopObserverRef = std::uint64_t;
    /// Given no event at all when the service has none to give.
    using EventHandler = std::function<OSStatus(const KeyboardEvent* event)>;

    virtual ~HotKeyService() = default;

    /// Whether there is a target to register hot keys and the handler with.
    [[nodiscard]] virtual bool hasEventDispatcherTarget() const = 0;

    /// Makes the key combination send hot-key events with `id` to the handler; `hotKey` is set
    /// on success and left 0 otherwise.
    virtual OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                         HotKeyRef& hotKey) = 0;
    virtual OSStatus unregisterEventHotKey(HotKeyRef hotKey) = 0;

    /// Installs the handler with no event types at all.
    virtual OSStatus installEventHandler(EventHandler handler, EventHandlerRef& handlerRef) = 0;
    virtual OSStatus addEventTypesToHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) = 0;
    virtual OSStatus removeEventTypesFromHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) = 0;

    /// Where the raw key events of menu tracking come from.
    enum class RawKeySource {
        /// The handler, once their event types are added to it.
        eventHandler,
        /// Only the application's own queue: the local event monitor takes them from there.
        applicationQueue,
    };
    [[nodiscard]] virtual RawKeySource rawKeySource() const = 0;

    /// The application's queue: the next event of any type, taken off the queue; none when empty.
    virtual std::optional<ApplicationEvent> nextEvent() = 0;
    virtual void postEvent(ApplicationEvent event, bool atStart) = 0;

    /// A repeating observer of the main run loop, told before it handles its sources.
    virtual RunLoopObserverRef createRunLoopObserver(std::function<void()> beforeSources) = 0;
    virtual void addRunLoopObserver(RunLoopObserverRef observer, RunLoopMode mode) = 0;
    virtual void removeRunLoopObserver(RunLoopObserverRef observer, RunLoopMode mode) = 0;
};

}  // namespace moritane::GlobalShortcuts
