#include "platform/linux/X11HotKeyService.h"

#include "platform/linux/X11KeyCodes.h"
#include "platform/linux/XcbXkb.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "shortcuts/GlobalShortcuts.h"
#include "testsupport/Xvfb.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <sstream>

namespace moritane {
namespace {

using namespace GlobalShortcuts;
using namespace std::chrono_literals;
using Events = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

constexpr std::uint32_t kCtrlOptCmd = 0x1900;

TEST(X11KeyCodesTest, EachVirtualKeyCodeIsTheKeyOfTheSameNameOnAPcKeyboard) {
    // From virtual key code -1 to 128, the key names of the X server's own keyboard descriptions;
    // "-" where the key is not on a PC keyboard.
    std::istringstream listed(
        "- AC01 AC02 AC03 AC04 AC06 AC05 AB01 AB02 AB03 AB04 LSGT AB05 AD01 AD02 AD03 AD04 AD06 AD05 AE01 "
        "AE02 AE03 AE04 AE06 AE05 AE12 AE09 AE07 AE11 AE08 AE10 AD12 AD09 AD07 AD11 AD08 AD10 RTRN AC09 AC07 "
        "AC11 AC08 AC10 BKSL AB08 AB10 AB06 AB07 AB09 TAB SPCE TLDE BKSP - ESC RWIN LWIN LFSH CAPS LALT LCTL "
        "RTSH RALT RCTL - FK17 KPDL - KPMU - KPAD - NMLK VOL+ VOL- MUTE KPDV KPEN - KPSU FK18 FK19 KPEQ KP0 "
        "KP1 KP2 KP3 KP4 KP5 KP6 KP7 FK20 KP8 KP9 - - - FK05 FK06 FK07 FK03 FK08 FK09 - FK11 - FK13 FK16 "
        "FK14 - FK10 - FK12 - FK15 INS HOME PGUP DELE FK04 END FK02 PGDN FK01 LEFT RGHT DOWN UP - -");
    const std::vector<std::string> names{std::istream_iterator<std::string>(listed), {}};
    ASSERT_EQ(names.size(), 130U);
    const std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                             &xkb_context_unref);
    const xkb_rule_names pc{"evdev", "pc105", "us", nullptr, nullptr};
    const std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap(
        xkb_keymap_new_from_names(context.get(), &pc, XKB_KEYMAP_COMPILE_NO_FLAGS), &xkb_keymap_unref);
    ASSERT_TRUE(keymap);
    for (std::int64_t code = -1; code <= 128; ++code) {
        const auto& name = names[static_cast<std::size_t>(code + 1)];
        const auto x11 = x11keycodes::fromVirtualKeyCode(code);
        if (name == "-") {
            EXPECT_EQ(x11, std::nullopt) << code;
            continue;
        }
        ASSERT_TRUE(x11) << code;
        EXPECT_EQ(*x11, xkb_keymap_key_by_name(keymap.get(), name.c_str())) << code << " " << name;
        EXPECT_EQ(x11keycodes::toVirtualKeyCode(*x11), code);
    }
}

TEST(X11HotKeyServiceTest, WithoutADisplayOrAfterLosingItRegistrationsFailQuietly) {
    ManualRunLoop loop;
    CapturingLog log;
    HotKeyService::HotKeyRef hotKey = 0;
    EXPECT_NE(X11HotKeyService(loop, log, ":31999").registerEventHotKey(18, kCtrlOptCmd, {0x4D524E54, 1}, hotKey),
              noErr);
    EXPECT_EQ(hotKey, 0U);
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"Shortcuts: no X display to take global shortcuts from; they are off"});

    auto server = std::make_unique<testing::XvfbServer>();
    X11HotKeyService service(loop, log, server->display().c_str());
    ASSERT_EQ(service.registerEventHotKey(18, kCtrlOptCmd, {0x4D524E54, 1}, hotKey), noErr);
    server.reset();
    HotKeyService::HotKeyRef another = 0;
    EXPECT_NE(service.registerEventHotKey(19, kCtrlOptCmd, {0x4D524E54, 2}, another), noErr);
    EXPECT_FALSE(service.hasEventDispatcherTarget());
    EXPECT_EQ(service.unregisterEventHotKey(hotKey), noErr);
}

/// A service on a display of its own, the hot-key events it hands over as (kind, id).
class X11HotKeyServiceDisplayTest : public ::testing::Test {
protected:
    X11HotKeyServiceDisplayTest() {
        HotKeyService::EventHandlerRef handler = 0;
        service.installEventHandler(
            [this](const KeyboardEvent* event) {
                events.emplace_back(event->kind, event->hotKeyID->id);
                return noErr;
            },
            handler);
        service.addEventTypesToHandler(handler, {{kEventClassKeyboard, EventKind::hotKeyPressed},
                                                 {kEventClassKeyboard, EventKind::hotKeyReleased}});
    }

    /// Runs the main queue until `list` holds `count` entries, for a few seconds at most.
    void await(const auto& list, std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + 5s;
        while (list.size() < count && std::chrono::steady_clock::now() < deadline) {
            loop.waitAndDrainMain(100ms);
        }
    }

    void registerKey(std::uint32_t keyCode, std::uint32_t id) {
        HotKeyService::HotKeyRef hotKey = 0;
        ASSERT_EQ(service.registerEventHotKey(keyCode, kCtrlOptCmd, {0x4D524E54, id}, hotKey), noErr);
    }

    testing::XvfbServer server;
    ManualRunLoop loop;
    CapturingLog log;
    X11HotKeyService service{loop, log, server.display().c_str()};
    Events events;
};

TEST_F(X11HotKeyServiceDisplayTest, AGrabbedCombinationArrivesAsOnePressAndOneReleaseWhateverTheLocksAndTheHold) {
    registerKey(18, 7);
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+1"}));
    await(events, 2);
    ASSERT_TRUE(server.xdotool({"key", "Num_Lock", "key", "Caps_Lock", "keydown", "ctrl+alt+super+1"}));
    await(events, 3);
    // Held past the server's repeat delay, the key repeats its press a few times.
    auto* connection = xcb_connect(server.display().c_str(), nullptr);
    std::free(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));  // NOLINT
    const auto* controls =
        xcb_xkb_get_controls_reply(connection, xcb_xkb_get_controls(connection, XCB_XKB_ID_USE_CORE_KBD), nullptr);
    ASSERT_NE(controls, nullptr);
    const auto held = std::chrono::steady_clock::now() + std::chrono::milliseconds(controls->repeatDelay) +
                      4 * std::chrono::milliseconds(controls->repeatInterval);
    std::free(const_cast<xcb_xkb_get_controls_reply_t*>(controls));  // NOLINT: xcb allocates with malloc
    xcb_disconnect(connection);
    while (std::chrono::steady_clock::now() < held) {
        loop.waitAndDrainMain(10ms);
    }
    ASSERT_TRUE(server.xdotool({"keyup", "ctrl+alt+super+1"}));
    await(events, 4);
    loop.drainMain();
    EXPECT_EQ(events, (Events{{5, 7}, {6, 7}, {5, 7}, {6, 7}}));
    EXPECT_TRUE(log.lines().empty()) << log.lines()[0];
}

TEST_F(X11HotKeyServiceDisplayTest, EachOfTwoOverlappingCombinationsGetsItsOwnRelease) {
    registerKey(18, 1);
    registerKey(29, 2);
    // The server ends the grab at the first release; the second goes to whoever has the focus.
    ASSERT_TRUE(server.xdotool(
        {"keydown", "ctrl+alt+super+1", "keydown", "0", "keyup", "1", "keyup", "0", "keyup", "ctrl+alt+super"}));
    await(events, 4);
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+0"}));
    await(events, 6);
    EXPECT_EQ(events, (Events{{5, 1}, {5, 2}, {6, 1}, {6, 2}, {5, 2}, {6, 2}}));
}

TEST_F(X11HotKeyServiceDisplayTest, ACombinationAnotherClientHoldsIsRefusedAndAnUngrabbedOneIsFreeAgain) {
    auto* other = xcb_connect(server.display().c_str(), nullptr);
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    const std::uint16_t mask = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
    std::free(xcb_request_check(other, xcb_grab_key_checked(other, 1, root, mask, 11, XCB_GRAB_MODE_ASYNC,
                                                            XCB_GRAB_MODE_ASYNC)));  // NOLINT
    HotKeyService::HotKeyRef hotKey = 0;
    EXPECT_NE(service.registerEventHotKey(19, kCtrlOptCmd, {0x4D524E54, 1}, hotKey), noErr);
    xcb_ungrab_key(other, 11, root, mask);
    std::free(xcb_get_input_focus_reply(other, xcb_get_input_focus(other), nullptr));  // NOLINT: done when answered
    xcb_disconnect(other);
    ASSERT_EQ(service.registerEventHotKey(19, kCtrlOptCmd, {0x4D524E54, 2}, hotKey), noErr);
    EXPECT_EQ(service.unregisterEventHotKey(hotKey), noErr);
    EXPECT_NE(service.unregisterEventHotKey(hotKey), noErr);
}

TEST_F(X11HotKeyServiceDisplayTest, ShortcutsRunWhileAMenuOfOursHasTheKeyboard) {
    MemoryDefaults defaults;
    NotificationCenter center;
    const auto registry = Registry::create({defaults, center, loop, service});
    const auto name = registry->makeName("cameraOn", Shortcut{18, kCtrlOptCmd});
    std::vector<std::string> ran;
    registry->onKeyDown(name, [&] { ran.emplace_back("down"); });
    registry->onKeyUp(name, [&] { ran.emplace_back("up"); });
    // The menu: another connection that has the keyboard to itself.
    auto* menu = xcb_connect(server.display().c_str(), nullptr);
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(menu)).data->root;
    const auto* grabbed = xcb_grab_keyboard_reply(
        menu, xcb_grab_keyboard(menu, 0, root, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC), nullptr);
    ASSERT_NE(grabbed, nullptr);
    EXPECT_EQ(grabbed->status, XCB_GRAB_STATUS_SUCCESS);
    std::free(const_cast<xcb_grab_keyboard_reply_t*>(grabbed));  // NOLINT: xcb allocates with malloc
    center.post(Registry::menuDidBeginTracking);

    // Only the key up of the shortcut itself counts, with the modifiers still held.
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+2", "key", "super+1", "keydown", "ctrl+alt+super+1", "keyup",
                                "1", "keyup", "ctrl+alt+super"}));
    await(ran, 2);
    EXPECT_EQ(ran, (std::vector<std::string>{"down", "up"}));
    xcb_disconnect(menu);
}

}  // namespace
}  // namespace moritane
