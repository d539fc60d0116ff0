#include "platform/linux/GnomeSymbolicHotKeys.h"

#include "shortcuts/ShortcutDisplay.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

namespace moritane {
namespace {

using namespace GlobalShortcuts;

TEST(GnomeSymbolicHotKeysTest, AcceleratorsBecomeShortcutsByPositionOnTheUsLayout) {
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("<Super>Left"), (Shortcut{Key::leftArrow.rawValue, 0x100}));
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("<Primary><Alt>t"), (Shortcut{Key::t.rawValue, 0x1800}));
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("<Control><Shift>Page_Down"),
              (Shortcut{Key::pageDown.rawValue, 0x1200}));
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("<Alt>F4"), (Shortcut{Key::f4.rawValue, 0x800}));
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("<Super>space"), (Shortcut{Key::space.rawValue, 0x100}));
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("<Shift><Super>exclam"), (Shortcut{Key::one.rawValue, 0x300}));
    EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator("XF86AudioMute"), (Shortcut{Key::mute.rawValue, 0}));
    for (const auto* refused :
         {"", "disabled", "<Super>", "<Hyper>a", "<Super", "XF86Calculator", "<Super>nosuchkey"}) {
        EXPECT_EQ(GnomeSymbolicHotKeys::parseAccelerator(refused), std::nullopt) << refused;
    }
}

TEST(GnomeSymbolicHotKeysTest, GnomeBindingsAreReadAnewAndOtherDesktopsHaveNone) {
    // Settings in memory, not the user's; no other thread of this program reads the environment now.
    ::setenv("GSETTINGS_BACKEND", "memory", 1);  // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(GnomeSymbolicHotKeys("KDE").copySymbolicHotKeys()->size(), 0U);
    const GnomeSymbolicHotKeys gnome("ubuntu:GNOME");
    const Shortcut custom{Key::q.rawValue, 0x1100};
    EXPECT_FALSE(isTakenBySystem(custom, gnome));
    auto* settings = g_settings_new("org.gnome.desktop.wm.keybindings");
    const std::array<const gchar*, 2> value{"<Primary><Super>q", nullptr};
    g_settings_set_strv(settings, "close", value.data());
    EXPECT_TRUE(isTakenBySystem(custom, gnome));
    g_settings_reset(settings, "close");
    g_object_unref(settings);
    EXPECT_FALSE(isTakenBySystem(custom, gnome));
}

}  // namespace
}  // namespace moritane
