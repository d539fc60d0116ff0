#include "platform/linux/X11KeyEvents.h"

#include <gtest/gtest.h>

#include <QKeyEvent>

namespace moritane {
namespace {

using GlobalShortcuts::KeyEvent;

TEST(X11KeyEventsTest, KeysAndModifiersComeAsTheMacKeyboardWouldGiveThem) {
    struct Case {
        const char* what;
        QEvent::Type type;
        Qt::KeyboardModifiers modifiers;
        quint32 x11KeyCode;
        quint32 nativeModifiers;
        std::optional<KeyEvent> expected;
    };
    const auto all = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    for (const auto& [what, type, modifiers, x11KeyCode, nativeModifiers, expected] : std::vector<Case>{
             {"control option super 5", QEvent::KeyPress, all, 14, 0x4C, KeyEvent{10, 23, 0x1C0000}},
             {"shift a with caps lock", QEvent::KeyRelease, Qt::ShiftModifier, 38, 0x3, KeyEvent{11, 0, 0x30000}},
             {"super alone", QEvent::KeyPress, Qt::MetaModifier, 133, 0, KeyEvent{12, 55, 0x100000}},
             {"up arrow", QEvent::KeyPress, Qt::KeypadModifier, 111, 0, KeyEvent{10, 126, 0xA00000}},
             {"F5", QEvent::KeyPress, Qt::NoModifier, 71, 0, KeyEvent{10, 96, 0x800000}},
             {"keypad 1", QEvent::KeyPress, Qt::KeypadModifier, 87, 0x10, KeyEvent{10, 83, 0x200000}},
             {"outside the table", QEvent::KeyPress, Qt::NoModifier, 255, 0, std::nullopt},
             {"no X key code", QEvent::KeyPress, Qt::NoModifier, 300, 0, std::nullopt},
         }) {
        const QKeyEvent event(type, 0, modifiers, x11KeyCode, 0, nativeModifiers);
        const auto converted = x11keyevents::fromQKeyEvent(event);
        ASSERT_EQ(converted.has_value(), expected.has_value()) << what;
        if (expected) {
            EXPECT_EQ(converted->type, expected->type) << what;
            EXPECT_EQ(converted->keyCode, expected->keyCode) << what;
            EXPECT_EQ(converted->modifierFlags, expected->modifierFlags) << what;
        }
    }
}

}  // namespace
}  // namespace moritane
