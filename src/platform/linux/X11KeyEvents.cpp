#include "platform/linux/X11KeyEvents.h"

#include "platform/linux/X11KeyCodes.h"

#include <QKeyEvent>

#include <algorithm>
#include <array>
#include <limits>

namespace moritane::x11keyevents {

namespace {

using GlobalShortcuts::Key;
namespace Flags = GlobalShortcuts::ModifierFlags;

constexpr std::uint32_t kLockMask = 0x2;

// From the right command key up to the function key.
constexpr std::int64_t kFirstModifierKey = 54;
constexpr std::int64_t kLastModifierKey = 63;

const std::array kArrows{Key::upArrow, Key::downArrow, Key::leftArrow, Key::rightArrow};
const std::array kKeypad{Key::keypad0,     Key::keypad1,        Key::keypad2,      Key::keypad3,     Key::keypad4,
                         Key::keypad5,     Key::keypad6,        Key::keypad7,      Key::keypad8,     Key::keypad9,
                         Key::keypadClear, Key::keypadDecimal,  Key::keypadDivide, Key::keypadEnter, Key::keypadEquals,
                         Key::keypadMinus, Key::keypadMultiply, Key::keypadPlus};
// The keys on which the Mac's keyboard sets the function flag besides the arrows.
const std::array kFunctionFlagged{
    Key::f1,  Key::f2,  Key::f3,   Key::f4,  Key::f5,     Key::f6,       Key::f7,   Key::f8,           Key::f9,
    Key::f10, Key::f11, Key::f12,  Key::f13, Key::f14,    Key::f15,      Key::f16,  Key::f17,          Key::f18,
    Key::f19, Key::f20, Key::home, Key::end, Key::pageUp, Key::pageDown, Key::help, Key::deleteForward};

template <std::size_t size>
bool contains(const std::array<Key, size>& keys, std::int64_t keyCode) {
    return std::ranges::any_of(keys, [keyCode](Key key) { return key.rawValue == keyCode; });
}

}  // namespace

std::optional<GlobalShortcuts::KeyEvent> fromQKeyEvent(const QKeyEvent& event) {
    const auto scanCode = event.nativeScanCode();
    if (scanCode > std::numeric_limits<std::uint8_t>::max()) {
        return std::nullopt;
    }
    const auto keyCode = x11keycodes::toVirtualKeyCode(static_cast<std::uint8_t>(scanCode));
    if (!keyCode) {
        return std::nullopt;
    }
    const auto modifiers = event.modifiers();
    std::int64_t flags = 0;
    for (const auto& [qt, flag] : {std::pair{Qt::ControlModifier, Flags::control},
                                   {Qt::AltModifier, Flags::option},
                                   {Qt::MetaModifier, Flags::command},
                                   {Qt::ShiftModifier, Flags::shift}}) {
        if (modifiers.testFlag(qt)) {
            flags |= flag;
        }
    }
    if ((event.nativeModifiers() & kLockMask) != 0) {
        flags |= Flags::capsLock;
    }
    if (contains(kArrows, *keyCode)) {
        flags |= Flags::numericPad | Flags::function;
    } else if (contains(kKeypad, *keyCode)) {
        flags |= Flags::numericPad;
    } else if (contains(kFunctionFlagged, *keyCode)) {
        flags |= Flags::function;
    }
    std::int64_t type =
        event.type() == QEvent::KeyRelease ? GlobalShortcuts::KeyEvent::keyUp : GlobalShortcuts::KeyEvent::keyDown;
    if (*keyCode >= kFirstModifierKey && *keyCode <= kLastModifierKey) {
        type = GlobalShortcuts::KeyEvent::flagsChanged;
    }
    return GlobalShortcuts::KeyEvent{type, *keyCode, flags};
}

}  // namespace moritane::x11keyevents
