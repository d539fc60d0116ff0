#include "platform/linux/X11KeyEvents.h"

#include <gtest/gtest.h>

#include <QInputDevice>
#include <QKeyEvent>

namespace moritane {
namespace {

TEST(X11KeyEventsTest, KeysAndModifiersComeAsTheMacKeyboardWouldGiveThem) {
    using Type = QEvent::Type;
    using Case = std::tuple<Type, Qt::KeyboardModifiers, quint32, quint32, std::optional<std::array<std::int64_t, 3>>>;
    // An event's own keyboard: the shared one would be made, and kept, for want of an application.
    const QInputDevice keyboard(QStringLiteral("keyboard"), 1, QInputDevice::DeviceType::Keyboard);
    // The expected type, key code and flags; none where the key code has no virtual key.
    for (const auto& [type, modifiers, x11KeyCode, nativeModifiers, expected] : std::vector<Case>{
             {Type::KeyPress, Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier, 14, 0x4C, {{10, 23, 0x1C0000}}},
             {Type::KeyRelease, Qt::ShiftModifier, 38, 0x3, {{11, 0, 0x30000}}},    // with caps lock
             {Type::KeyPress, Qt::MetaModifier, 133, 0, {{12, 55, 0x100000}}},      // Super alone
             {Type::KeyPress, Qt::KeypadModifier, 111, 0, {{10, 126, 0xA00000}}},   // up arrow
             {Type::KeyPress, Qt::NoModifier, 71, 0, {{10, 96, 0x800000}}},         // F5
             {Type::KeyPress, Qt::KeypadModifier, 87, 0x10, {{10, 83, 0x200000}}},  // keypad 1
             {Type::KeyPress, Qt::NoModifier, 255, 0, std::nullopt},
         }) {
        const auto converted = x11keyevents::fromQKeyEvent(
            QKeyEvent(type, 0, modifiers, x11KeyCode, 0, nativeModifiers, {}, false, 1, &keyboard));
        const auto actual =
            converted ? std::optional(std::array{converted->type, converted->keyCode, converted->modifierFlags})
                      : std::nullopt;
        EXPECT_EQ(actual, expected) << x11KeyCode;
    }
}

}  // namespace
}  // namespace moritane
