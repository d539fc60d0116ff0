#include "platform/linux/XkbKeyboardLayout.h"

#include "shortcuts/ShortcutDisplay.h"
#include "testsupport/Xvfb.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace moritane {
namespace {

using namespace GlobalShortcuts;

TEST(XkbKeyboardLayoutTest, TheTextOfAKeyFollowsTheLayoutSetOnTheServer) {
    const testing::XvfbServer server;
    const XkbKeyboardLayout layout(server.display().c_str());
    using Layout = std::vector<std::string>;
    for (const auto& [setxkbmap, key, text] : std::vector<std::tuple<Layout, Key, std::optional<std::string>>>{
             {{"us"}, Key::y, "y"},
             {{"de"}, Key::y, "z"},
             {{"de"}, Key::minus, "\u00DF"},
             {{"de"}, Key::return_, std::nullopt},  // prints nothing
             // Dead keys read as their accent.
             {{"de"}, Key::backtick, "^"},
             {{"de"}, Key::equal, "\u00B4"},
             {{"fr"}, Key::leftBracket, "^"},
             // Without Latin letters, shortcuts read on the Latin group beside it, else on the US layout.
             {{"-layout", "ru,fr"}, Key::q, "a"},
             {{"ru"}, Key::q, "q"},
             {{"ru"}, Key::backtick, "`"},
         }) {
        std::vector<std::string> command{"setxkbmap", "-display", server.display()};
        command.insert(command.end(), setxkbmap.begin(), setxkbmap.end());
        ASSERT_TRUE(server.run(command));
        EXPECT_EQ(layout.character(static_cast<std::uint16_t>(key.rawValue)), text)
            << setxkbmap.back() << " " << key.rawValue;
    }
}

TEST(XkbKeyboardLayoutTest, WithoutADisplayNoKeyHasText) {
    EXPECT_EQ(description(Shortcut::make(Key::a, ModifierFlags::command), XkbKeyboardLayout(":31998")), "\u2318\uFFFD");
}

}  // namespace
}  // namespace moritane
