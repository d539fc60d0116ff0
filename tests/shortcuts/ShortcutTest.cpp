#include "shortcuts/Shortcut.h"

#include <gtest/gtest.h>

namespace moritane::GlobalShortcuts {
namespace {

TEST(ShortcutTest, OnlyTheFourModifiersCrossBetweenTheFormsAndOnlyKeyEventsMakeShortcuts) {
    const auto all = ModifierFlags::control | ModifierFlags::option | ModifierFlags::command | ModifierFlags::shift;
    EXPECT_EQ(carbonModifiers(all | ModifierFlags::function | ModifierFlags::capsLock | 0x1), 0x1B00);
    EXPECT_EQ(cocoaModifiers(0x1B00 | 0x1 | 0x4000), all);
    EXPECT_EQ(Shortcut::make(Key::a, ModifierFlags::command | ModifierFlags::function),
              Shortcut::make(Key::a, ModifierFlags::command));
    EXPECT_EQ(Shortcut::fromCarbon(29, 6400 | 0x1), (Shortcut{29, 6400}));
    EXPECT_EQ(Shortcut::make(Key::zero, 0x1C0000).modifiers(), 0x1C0000);
    EXPECT_EQ(Shortcut::fromEvent({KeyEvent::keyUp, 18, ModifierFlags::control | ModifierFlags::function}),
              (Shortcut{18, 0x1000}));
    EXPECT_TRUE(Shortcut::fromEvent({KeyEvent::keyDown, 18, 0}));
    EXPECT_FALSE(Shortcut::fromEvent({12, 18, 0}));  // flags changed: no shortcut
}

TEST(ShortcutTest, TheStoredFormIsCompactAndReadInAnyOrder) {
    EXPECT_EQ(encode(Shortcut::make(Key::zero, 0x1C0000)), R"({"carbonKeyCode":29,"carbonModifiers":6400})");
    EXPECT_EQ(decodeShortcut(R"({"carbonModifiers":6400,"note":"x","carbonKeyCode":29})"), (Shortcut{29, 6400}));
    EXPECT_EQ(decodeShortcut(R"({"carbonKeyCode":65535,"carbonModifiers":4294967295})"), (Shortcut{65535, 4294967295}));
}

TEST(ShortcutTest, AnythingElseStoredIsNoShortcut) {
    for (const auto* text :
         {"", "false", "0", "not json", "[29,6400]", R"({"carbonKeyCode":29})",
          R"({"carbonKeyCode":29,"carbonModifiers":"6400"})", R"({"carbonKeyCode":29.5,"carbonModifiers":6400})",
          R"({"carbonKeyCode":true,"carbonModifiers":6400})",
          R"({"carbonKeyCode":9223372036854775808,"carbonModifiers":0})",
          // Cut down to what the key services take, these would be 1 and control+option+command.
          R"({"carbonKeyCode":65554,"carbonModifiers":6400})", R"({"carbonKeyCode":-65518,"carbonModifiers":6400})",
          R"({"carbonKeyCode":18,"carbonModifiers":4294973696})", R"({"carbonKeyCode":18,"carbonModifiers":-1})",
          R"({"carbonKeyCode":1e300,"carbonModifiers":0})", R"({"carbonKeyCode":29,"carbonModifiers":6400)"}) {
        EXPECT_EQ(decodeShortcut(text), std::nullopt) << text;
    }
}

TEST(ShortcutTest, NamesAreEqualByTheirRawValueAlone) {
    EXPECT_EQ((Name{"cameraOn", Shortcut{18, 6400}}), (Name{"cameraOn", std::nullopt}));
    EXPECT_NE((Name{"cameraOn", std::nullopt}), (Name{"cameraoff", std::nullopt}));
    EXPECT_EQ(std::hash<Name>{}(Name{"cameraOn", Shortcut{18, 6400}}), std::hash<Name>{}(Name{"cameraOn", {}}));
}

}  // namespace
}  // namespace moritane::GlobalShortcuts
