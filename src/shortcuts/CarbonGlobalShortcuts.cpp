#include "shortcuts/CarbonGlobalShortcuts.h"

#include <utility>

namespace moritane::GlobalShortcuts {

namespace {

const std::vector<EventTypeSpec> kHotKeyEventTypes{{kEventClassKeyboard, EventKind::hotKeyPressed},
                                                   {kEventClassKeyboard, EventKind::hotKeyReleased}};
const std::vector<EventTypeSpec> kRawKeyEventTypes{{kEventClassKeyboard, EventKind::rawKeyDown},
                                                   {kEventClassKeyboard, EventKind::rawKeyUp}};

}  // namespace

void CarbonGlobalShortcuts::registerShortcut(const Shortcut& shortcut, Callback onKeyDown, Callback onKeyUp) {
    const auto id = ++m_hotKeyId;  // spent even when the service says no
    HotKeyService::HotKeyRef reference = 0;
    const auto status = m_service.registerEventHotKey(
        static_cast<std::uint32_t>(shortcut.carbonKeyCode), static_cast<std::uint32_t>(shortcut.carbonModifiers),
        EventHotKeyID{signature, static_cast<std::uint32_t>(id)}, reference);
    if (status != noErr || reference == 0) {
        return;
    }
    m_hotKeys[id] = HotKey{shortcut, id, reference, std::move(onKeyDown), std::move(onKeyUp)};
    if (m_eventHandler || !m_service.hasEventDispatcherTarget()) {
        return;
    }
    HotKeyService::EventHandlerRef handler = 0;
    if (m_service.installEventHandler([this](const KeyboardEvent* event) { return handleEvent(event); }, handler) ==
            noErr &&
        handler != 0) {
        m_eventHandler = handler;
        updateEventHandler();
    }
}

void CarbonGlobalShortcuts::unregister(const Shortcut& shortcut) {
    for (auto entry = m_hotKeys.begin(); entry != m_hotKeys.end();) {
        if (entry->second.shortcut == shortcut) {
            m_service.unregisterEventHotKey(entry->second.carbonHotKey.value_or(0));
            entry = m_hotKeys.erase(entry);
        } else {
            ++entry;
        }
    }
}

void CarbonGlobalShortcuts::suspendAll() {
    for (auto& [id, hotKey] : m_hotKeys) {
        m_service.unregisterEventHotKey(hotKey.carbonHotKey.value_or(0));
        hotKey.carbonHotKey.reset();
    }
}

void CarbonGlobalShortcuts::resumeAll() {
    for (auto entry = m_hotKeys.begin(); entry != m_hotKeys.end();) {
        auto& hotKey = entry->second;
        if (hotKey.carbonHotKey) {
            ++entry;
            continue;
        }
        HotKeyService::HotKeyRef reference = 0;
        const auto status = m_service.registerEventHotKey(
            static_cast<std::uint32_t>(hotKey.shortcut.carbonKeyCode),
            static_cast<std::uint32_t>(hotKey.shortcut.carbonModifiers),
            EventHotKeyID{signature, static_cast<std::uint32_t>(hotKey.carbonHotKeyId)}, reference);
        if (status == noErr && reference != 0) {
            hotKey.carbonHotKey = reference;
            ++entry;
        } else {
            entry = m_hotKeys.erase(entry);  // dead until its name registers it again
        }
    }
}

bool CarbonGlobalShortcuts::usesKeyEventMonitor() const {
    return m_service.rawKeySource() == HotKeyService::RawKeySource::applicationQueue;
}

RunLoopLocalEventMonitor& CarbonGlobalShortcuts::keyEventMonitor() {
    if (!m_keyEventMonitor) {
        m_keyEventMonitor = std::make_unique<RunLoopLocalEventMonitor>(
            m_service, keyEventMask, RunLoopMode::eventTracking,
            [this](const ApplicationEvent& event) -> std::optional<ApplicationEvent> {
                if (event.eventRef && handleRawKeyEvent(*event.eventRef) == noErr) {
                    return std::nullopt;
                }
                return event;
            });
    }
    return *m_keyEventMonitor;
}

void CarbonGlobalShortcuts::updateEventHandler() {
    if (!m_eventHandler) {
        return;
    }
    const auto handler = *m_eventHandler;
    if (m_mode.isEnabled && !m_mode.isMenuOpen) {
        resumeAll();
        if (usesKeyEventMonitor()) {
            keyEventMonitor().stop();
        } else {
            m_service.removeEventTypesFromHandler(handler, kRawKeyEventTypes);
        }
        m_service.addEventTypesToHandler(handler, kHotKeyEventTypes);
    } else if (m_mode.isEnabled) {
        suspendAll();
        m_service.removeEventTypesFromHandler(handler, kHotKeyEventTypes);
        if (usesKeyEventMonitor()) {
            keyEventMonitor().start();
        } else {
            m_service.addEventTypesToHandler(handler, kRawKeyEventTypes);
        }
    } else {
        suspendAll();
        m_service.removeEventTypesFromHandler(handler, kHotKeyEventTypes);
        if (usesKeyEventMonitor()) {
            keyEventMonitor().stop();
        } else {
            m_service.removeEventTypesFromHandler(handler, kRawKeyEventTypes);
        }
    }
}

OSStatus CarbonGlobalShortcuts::handleEvent(const KeyboardEvent* event) {
    if (event == nullptr) {
        return eventNotHandledErr;
    }
    switch (event->kind) {
    case EventKind::hotKeyPressed:
    case EventKind::hotKeyReleased:
        return handleHotKeyEvent(*event);
    case EventKind::rawKeyDown:
    case EventKind::rawKeyUp:
        return handleRawKeyEvent(*event);
    default:
        return eventNotHandledErr;
    }
}

OSStatus CarbonGlobalShortcuts::handleHotKeyEvent(const KeyboardEvent& event) {
    if (!event.hotKeyID) {
        return eventParameterNotFoundErr;
    }
    const auto& id = *event.hotKeyID;
    const auto hotKey = m_hotKeys.find(id.id);
    if (id.signature != signature || hotKey == m_hotKeys.end()) {
        return eventNotHandledErr;
    }
    // Copies: an action may change the registrations.
    const auto shortcut = hotKey->second.shortcut;
    const auto action = event.kind == EventKind::hotKeyPressed ? hotKey->second.onKeyDown : hotKey->second.onKeyUp;
    action(shortcut);
    return noErr;
}

OSStatus CarbonGlobalShortcuts::handleRawKeyEvent(const KeyboardEvent& event) {
    if (!event.keyCode || !event.modifiers) {
        return eventParameterNotFoundErr;
    }
    const auto pressed = Shortcut::fromCarbon(*event.keyCode, *event.modifiers);
    for (const auto& [id, hotKey] : m_hotKeys) {
        if (hotKey.shortcut.carbonKeyCode == pressed.carbonKeyCode &&
            hotKey.shortcut.carbonModifiers == pressed.carbonModifiers) {
            const auto shortcut = hotKey.shortcut;
            const auto action = event.kind == EventKind::rawKeyUp ? hotKey.onKeyUp : hotKey.onKeyDown;
            action(shortcut);
            return noErr;
        }
    }
    return eventNotHandledErr;
}

std::map<std::int64_t, Shortcut> CarbonGlobalShortcuts::registrations() const {
    std::map<std::int64_t, Shortcut> result;
    for (const auto& [id, hotKey] : m_hotKeys) {
        result.emplace(id, hotKey.shortcut);
    }
    return result;
}

}  // namespace moritane::GlobalShortcuts
