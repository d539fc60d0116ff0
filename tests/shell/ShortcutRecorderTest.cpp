#include "shell/ShortcutRecorder.h"

#include "platform/sim/FakeHotKeyService.h"
#include "platform/sim/FakeKeyboardLayouts.h"
#include "testsupport/ManagersFixture.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>

namespace moritane {
namespace {

using GlobalShortcuts::KeyEvent;
using ShortcutRecorderTest = testing::ManagersFixture;

// B, with or without control.
std::optional<KeyEvent> readKey(const QKeyEvent& event) {
    return KeyEvent{KeyEvent::keyDown, 11, event.modifiers().testFlag(Qt::ControlModifier) ? 0x40000 : 0};
}

TEST_F(ShortcutRecorderTest, AClickRecordsTheNextKeyThroughTheFilterAndTheWindowComingForwardDoesNot) {
    FakeHotKeyService service;
    const auto registry =
        GlobalShortcuts::Registry::create({managers.defaults, managers.center, managers.loop, service});
    const auto name = registry->makeName("cameraOff");
    FakeKeyboardLayout layout;
    FakeSymbolicHotKeys system;

    QWidget window;
    auto* recorder = new ShortcutRecorder(
        {*registry, layout, system, managers.localization, readKey, managers.center, managers.loop}, name,
        QString("Camera off"), {}, &window);
    auto& field = recorder->field();
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_FALSE(field.hasFocus()) << "coming forward passes over the field";
    managers.loop.drainMain();

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
