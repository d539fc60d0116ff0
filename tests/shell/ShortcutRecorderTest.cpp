#include "shell/ShortcutRecorder.h"

#include "platform/sim/FakeHotKeyService.h"
#include "platform/sim/FakeKeyboardLayouts.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

namespace moritane {
namespace {

using GlobalShortcuts::KeyEvent;

// Letters by their virtual key codes, the modifiers as the Mac's keyboard names them.
std::optional<KeyEvent> readKey(const QKeyEvent& event) {
    if (event.key() == Qt::Key_Control) {
        return KeyEvent{KeyEvent::flagsChanged, 59, 0x40000};
    }
    if (event.key() == Qt::Key_Question) {
        return std::nullopt;
    }
    const std::int64_t flags = event.modifiers().testFlag(Qt::ControlModifier) ? 0x40000 : 0;
    return KeyEvent{KeyEvent::keyDown, event.key() == Qt::Key_B ? 11 : 0, flags};
}

TEST(ShortcutRecorderTest, AClickRecordsTheNextKeyWhichTheStoreKeepsAndTheWindowComingForwardDoesNot) {
    MemoryDefaults defaults;
    NotificationCenter center;
    ManualRunLoop loop;
    FakeHotKeyService service;
    const auto registry = GlobalShortcuts::Registry::create({defaults, center, loop, service});
    const auto name = registry->makeName("cameraOff");
    FakeKeyboardLayout layout;
    FakeSymbolicHotKeys system;
    const Localization strings{{}, {"en"}};
    std::vector<std::optional<GlobalShortcuts::Shortcut>> changes;

    QWidget window;
    auto* recorder =
        new ShortcutRecorder({*registry, layout, system, strings, readKey, center, loop}, name, QString("Camera off"),
                             [&](const auto& shortcut) { changes.push_back(shortcut); });
    auto* button = new QPushButton("Other");
    auto* column = new QVBoxLayout(&window);
    column->addWidget(recorder);
    column->addWidget(button);
    auto& field = recorder->field();
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    EXPECT_FALSE(field.hasFocus()) << "coming forward passes over the field";
    EXPECT_EQ(field.placeholderText().toStdString(), "record_shortcut");
    EXPECT_GE(field.width(), ShortcutRecorderField::minimumWidth);
    loop.drainMain();

    QTest::mouseClick(&field, Qt::LeftButton);
    EXPECT_TRUE(field.isRecording());
    EXPECT_TRUE(registry->isPaused());
    EXPECT_EQ(field.placeholderText().toStdString(), "press_shortcut");
    QTest::keyClick(&field, Qt::Key_Control);   // a modifier alone is no key press
    QTest::keyClick(&field, Qt::Key_Question);  // a key the platform cannot place
    EXPECT_TRUE(field.isRecording());
    QTest::keyClick(&field, Qt::Key_B, Qt::ControlModifier);
    EXPECT_EQ(registry->getShortcut(name), (GlobalShortcuts::Shortcut{11, 0x1000}));
    EXPECT_EQ(changes.size(), 1U);
    EXPECT_FALSE(field.isRecording());
    EXPECT_FALSE(registry->isPaused());
    EXPECT_FALSE(field.hasFocus());
    EXPECT_EQ(field.text().toStdString(), "\u2303B");
    EXPECT_TRUE(field.clearButton()->isVisible());

    QTest::keyClick(button, Qt::Key_Tab);
    ASSERT_TRUE(field.hasFocus()) << "Tab reaches the field";
    EXPECT_FALSE(field.isRecording());
    QTest::keyClick(&field, Qt::Key_Space);
    EXPECT_TRUE(field.isRecording());
    QTest::mouseClick(field.clearButton(), Qt::LeftButton);
    EXPECT_EQ(registry->getShortcut(name), std::nullopt);
    EXPECT_TRUE(field.isRecording()) << "clearing goes on recording";
    EXPECT_FALSE(field.clearButton()->isVisible());
    registry->setShortcut(GlobalShortcuts::Shortcut{0, 0x100}, name);
    EXPECT_EQ(field.text().toStdString(), "\u2318A") << "a change from elsewhere shows";
}

}  // namespace
}  // namespace moritane
