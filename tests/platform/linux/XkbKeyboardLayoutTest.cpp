#include "platform/linux/XkbKeyboardLayout.h"

#include "shortcuts/ShortcutDisplay.h"
#include "testsupport/Xvfb.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

using namespace GlobalShortcuts;

TEST(XkbKeyboardLayoutTest, TheTextOfAKeyFollowsTheLayoutSetOnTheServer) {
    const testing::XvfbServer server;
    const XkbKeyboardLayout layout(server.display().c_str());
    ASSERT_TRUE(server.run({"setxkbmap", "-display", server.display(), "us"}));
    EXPECT_EQ(layout.character(Key::y.rawValue), "y");
    EXPECT_EQ(layout.character(Key::minus.rawValue), "-");
    EXPECT_EQ(description(Shortcut::make(Key::y, ModifierFlags::command), layout), "\u2318Y");
    ASSERT_TRUE(server.run({"setxkbmap", "-display", server.display(), "de"}));
    EXPECT_EQ(layout.character(Key::y.rawValue), "z");
    EXPECT_EQ(layout.character(Key::minus.rawValue), "\u00DF");
    EXPECT_EQ(layout.character(Key::return_.rawValue), std::nullopt);  // prints nothing
    // A layout without Latin letters: shortcuts read on the Latin group beside it.
    ASSERT_TRUE(server.run({"setxkbmap", "-display", server.display(), "-layout", "ru,fr"}));
    EXPECT_EQ(layout.character(Key::q.rawValue), "a");
}

TEST(XkbKeyboardLayoutTest, WithoutADisplayNoKeyHasText) {
    const XkbKeyboardLayout layout(":31998");
    EXPECT_EQ(layout.character(Key::a.rawValue), std::nullopt);
    EXPECT_EQ(description(Shortcut::make(Key::a, ModifierFlags::command), layout), "\u2318\uFFFD");
}

}  // namespace
}  // namespace moritane
