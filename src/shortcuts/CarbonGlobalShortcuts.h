#pragma once

#include "shortcuts/HotKeyService.h"
#include "shortcuts/RunLoopLocalEventMonitor.h"
#include "shortcuts/Shortcut.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace moritane::GlobalShortcuts {

/// The layer over the hot-key service: one registration per shortcut asked for, the one event
/// handler, and the switch between hot-key events and raw key events as the registry's mode
/// changes. Main thread.
class CarbonGlobalShortcuts {
public:
    using Callback = std::function<void(const Shortcut&)>;

    /// The registry's switches that decide the handler's mode.
    struct Mode {
        bool isEnabled = true;
        bool isMenuOpen = false;
    };

    /// The signature of every registration: the characters M, R, N, T.
    static constexpr std::uint32_t signature = 0x4D524E54;
    /// Key down and key up.
    static constexpr std::uint64_t keyEventMask = 0xC00;

    CarbonGlobalShortcuts(HotKeyService& service, const Mode& mode) : m_service(service), m_mode(mode) {}

    /// Registers `shortcut`; a refusal by the service leaves no trace but the spent id.
    void registerShortcut(const Shortcut& shortcut, Callback onKeyDown, Callback onKeyUp);
    /// Ends every registration of `shortcut`.
    void unregister(const Shortcut& shortcut);
    /// Puts the handler in the mode the switches ask for.
    void updateEventHandler();

    /// The installed handler.
    OSStatus handleEvent(const KeyboardEvent* event);

    /// Live or suspended registrations, by id.
    [[nodiscard]] std::map<std::int64_t, Shortcut> registrations() const;

private:
    struct HotKey {
        Shortcut shortcut;
        std::int64_t carbonHotKeyId = 0;
        std::optional<HotKeyService::HotKeyRef> carbonHotKey;
        Callback onKeyDown;
        Callback onKeyUp;
    };

    void suspendAll();
    void resumeAll();
    OSStatus handleHotKeyEvent(const KeyboardEvent& event);
    OSStatus handleRawKeyEvent(const KeyboardEvent& event);
    RunLoopLocalEventMonitor& keyEventMonitor();
    [[nodiscard]] bool usesKeyEventMonitor() const;

    HotKeyService& m_service;
    const Mode& m_mode;
    std::map<std::int64_t, HotKey> m_hotKeys;
    std::int64_t m_hotKeyId = 0;
    std::optional<HotKeyService::EventHandlerRef> m_eventHandler;
    std::unique_ptr<RunLoopLocalEventMonitor> m_keyEventMonitor;
};

}  // namespace moritane::GlobalShortcuts
