#include "platform/linux/X11HotKeyService.h"

#include "platform/linux/X11KeyCodes.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/ManualRunLoop.h"
#include "testsupport/Xvfb.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <cstdlib>

namespace moritane {
namespace {

using namespace GlobalShortcuts;

constexpr std::uint32_t kCtrlOptCmd = 0x1900;
const std::vector<EventTypeSpec> kHotKeyTypes{{kEventClassKeyboard, EventKind::hotKeyPressed},
                                              {kEventClassKeyboard, EventKind::hotKeyReleased}};

TEST(X11KeyCodesTest, TheTableGoesBothWaysAndKnowsNoFunctionKey) {
    EXPECT_EQ(x11keycodes::fromVirtualKeyCode(0), 38);    // a
    EXPECT_EQ(x11keycodes::fromVirtualKeyCode(18), 10);   // 1
    EXPECT_EQ(x11keycodes::fromVirtualKeyCode(122), 67);  // F1
    EXPECT_EQ(x11keycodes::fromVirtualKeyCode(63), std::nullopt);
    EXPECT_EQ(x11keycodes::fromVirtualKeyCode(-1), std::nullopt);
    for (std::int64_t code = 0; code < 128; ++code) {
        if (const auto x11 = x11keycodes::fromVirtualKeyCode(code)) {
            EXPECT_EQ(x11keycodes::toVirtualKeyCode(*x11), code);
        }
    }
}

TEST(X11HotKeyServiceTest, ModifiersMapToControlAltSuperAndShiftAndLocksDoNotMatter) {
    EXPECT_EQ(X11HotKeyService::modifierMask(kCtrlOptCmd), XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4);
    EXPECT_EQ(X11HotKeyService::modifierMask(0x200 | 0x1 | 0x10000), XCB_MOD_MASK_SHIFT);
    const std::uint16_t mask = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_4;
    EXPECT_TRUE(X11HotKeyService::matches(mask | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2 | XCB_BUTTON_MASK_1, mask));
    EXPECT_FALSE(X11HotKeyService::matches(mask | XCB_MOD_MASK_SHIFT, mask));
}

TEST(X11HotKeyServiceTest, WithoutADisplayEveryRegistrationFailsQuietly) {
    ManualRunLoop loop;
    CapturingLog log;
    X11HotKeyService service(loop, log, ":31999");
    EXPECT_FALSE(service.hasEventDispatcherTarget());
    HotKeyService::HotKeyRef hotKey = 0;
    EXPECT_NE(service.registerEventHotKey(18, kCtrlOptCmd, {0x4D524E54, 1}, hotKey), noErr);
    EXPECT_EQ(hotKey, 0U);
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"Shortcuts: no X display to take global shortcuts from; they are off"});
}

TEST(X11HotKeyServiceTest, ALostDisplayIsSurvived) {
    ManualRunLoop loop;
    CapturingLog log;
    auto server = std::make_unique<testing::XvfbServer>();
    X11HotKeyService service(loop, log, server->display().c_str());
    HotKeyService::HotKeyRef hotKey = 0;
    ASSERT_EQ(service.registerEventHotKey(18, kCtrlOptCmd, {0x4D524E54, 1}, hotKey), noErr);
    server.reset();
    HotKeyService::HotKeyRef another = 0;
    EXPECT_NE(service.registerEventHotKey(19, kCtrlOptCmd, {0x4D524E54, 2}, another), noErr);
    EXPECT_FALSE(service.hasEventDispatcherTarget());
    EXPECT_EQ(service.unregisterEventHotKey(hotKey), noErr);
}

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
        service.addEventTypesToHandler(handler, kHotKeyTypes);
    }

    /// Runs the main queue until `count` events have reached the handler.
    void awaitEvents(std::size_t count) {
        while (events.size() < count) {
            loop.waitAndDrainMain();
        }
    }

    testing::XvfbServer server;
    ManualRunLoop loop;
    CapturingLog log;
    X11HotKeyService service{loop, log, server.display().c_str()};
    std::vector<std::pair<std::uint32_t, std::uint32_t>> events;
};

TEST_F(X11HotKeyServiceDisplayTest, AGrabbedCombinationArrivesAsOnePressAndOneReleaseWhateverTheLocks) {
    HotKeyService::HotKeyRef hotKey = 0;
    ASSERT_EQ(service.registerEventHotKey(18, kCtrlOptCmd, {0x4D524E54, 7}, hotKey), noErr);
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+1"}));
    awaitEvents(2);
    ASSERT_TRUE(server.xdotool({"key", "Num_Lock", "key", "Caps_Lock"}));
    // Two presses before the release: what a held key looks like.
    ASSERT_TRUE(server.xdotool({"keydown", "ctrl+alt+super+1", "keydown", "1", "keyup", "ctrl+alt+super+1"}));
    awaitEvents(4);
    EXPECT_EQ(events, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{5, 7}, {6, 7}, {5, 7}, {6, 7}}));
    EXPECT_TRUE(log.lines().empty()) << log.lines()[0];
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
    ASSERT_EQ(service.registerEventHotKey(19, kCtrlOptCmd, {0x4D524E54, 3}, hotKey), noErr);
}

}  // namespace
}  // namespace moritane
