#include "shell/ShortcutRecorder.h"

#include "platform/sim/FakeHotKeyService.h"
#include "platform/sim/FakeKeyboardLayouts.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>

namespace moritane {
namespace {

using GlobalShortcuts::KeyEvent;

// B, with or without control.
std::optional<KeyEvent> readKey(const QKeyEvent& event) {
    return KeyEvent{KeyEvent::keyDown, 11, event.modifiers().testFlag(Qt::ControlModifier) ? 0x40000 : 0};
}

TEST(ShortcutRecorderTest, AClickRecordsTheNextKeyThroughTheFilterAndTheWindowComingForwardDoesNot) {
    MemoryDefaults defaults;
    NotificationCenter center;
    ManualRunLoop loop;
    FakeHotKeyService service;
    const auto registry = GlobalShortcuts::Registry::create({defaults, center, loop, service});
    const auto name = registry->makeName("cameraOff");
    FakeKeyboardLayout layout;
    FakeSymbolicHotKeys system;
    const Localization strings{{}, {"en"}};

    QWidget window;
    auto* recorder = new ShortcutRecorder({*registry, layout, system, strings, readKey, center, loop}, name,
                                          QString("Camera off"), {}, &window);
    auto& field = recorder->field();
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_FALSE(field.hasFocus()) << "coming forward passes over the field";
    loop.drainMain();

    QTest::mouseClick(&field, Qt::LeftButton);
    EXPECT_TRUE(field.isRecording());
    EXPECT_TRUE(registry->isPaused());
    QTest::keyClick(&field, Qt::Key_B);
    EXPECT_TRUE(field.isRecording()) << "a bare letter beeps";
    QTest::keyClick(&field, Qt::Key_B, Qt::ControlModifier);
    EXPECT_EQ(registry->getShortcut(name), (GlobalShortcuts::Shortcut{11, 0x1000}));
    EXPECT_FALSE(field.isRecording());
    EXPECT_FALSE(field.hasFocus());
}

}  // namespace
}  // namespace moritane
