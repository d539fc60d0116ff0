#include "shortcuts/Recorder.h"

#include "platform/sim/FakeKeyboardLayouts.h"
#include "shortcuts/RegistryFixture.h"

#include <tuple>

namespace moritane::GlobalShortcuts {
namespace {

using Action = RecorderDecision::Action;
using Type = RecorderEvent::Type;

constexpr std::int64_t kShift = ModifierFlags::shift;
constexpr std::int64_t kCommand = ModifierFlags::command;
constexpr std::int64_t kCaps = ModifierFlags::capsLock;
const Shortcut kCtrlOptCmd0{29, 0x1900};
const Shortcut kCommandSpace{49, 0x100};
const std::vector<SymbolicHotKeys::Entry> kSystemUsesCommandSpace{
    {{"kHISymbolicHotKeyEnabled", true},
     {"kHISymbolicHotKeyCode", std::int64_t{49}},
     {"kHISymbolicHotKeyModifiers", std::int64_t{0x100}}}};

RecorderDecision decision(Action action, bool swallowed = true) {
    return {action, swallowed, std::nullopt, {}};
}

RecorderEvent keyDown(Key key, std::int64_t flags) {
    return RecorderEvent::keyDown({KeyEvent::keyDown, key.rawValue, flags});
}

TEST(RecorderRulesTest, TheFirstRuleThatAppliesDecides) {
    FakeKeyboardLayout layout;
    FakeSymbolicHotKeys system;
    system.entries = kSystemUsesCommandSpace;
    FakeMenu menu;
    menu.add("New", "n", kCommand);
    const ShortcutUsers users{layout, system, &menu};
    const RecorderDecision nothing;
    const auto beep = decision(Action::beep);
    const auto save = [](std::int64_t code, std::int64_t carbon) {
        return RecorderDecision{Action::save, true, Shortcut{code, carbon}, {}};
    };
    for (const auto& [what, event, fieldExists, expected] :
         std::vector<std::tuple<const char*, RecorderEvent, bool, RecorderDecision>>{
             {"field gone", keyDown(Key::a, kCommand), false, nothing},
             {"click far off", {Type::leftMouseUp, 0, 0, {}, false}, true, decision(Action::blur, false)},
             {"right click near", {Type::rightMouseUp, 0, 0, {}, true}, true, nothing},
             {"bare tab", keyDown(Key::tab, 0), true, decision(Action::blur, false)},
             {"bare escape", keyDown(Key::escape, kCaps | 0x100), true, decision(Action::blur)},
             {"bare delete", keyDown(Key::delete_, 0), true, decision(Action::clickClearButton)},
             {"bare letter", keyDown(Key::a, 0), true, beep},
             {"shift letter", keyDown(Key::a, kShift), true, beep},
             {"caps lock letter", keyDown(Key::a, kCaps), true, beep},
             {"bare arrow", keyDown(Key::upArrow, 0xA00000), true, beep},
             {"shift tab", keyDown(Key::tab, kShift), true, beep},
             {"bare F5", keyDown(Key::f5, ModifierFlags::function), true, save(96, 0)},
             {"shift F5", keyDown(Key::f5, kShift), true, save(96, 0x200)},
             {"F23", {Type::keyDown, 10, 0, SpecialKey::f1 + 22, false}, true, save(10, 0)},
             {"caps lock command", keyDown(Key::a, kCaps | kCommand), true, save(0, 0x100)},
             {"command escape", keyDown(Key::escape, kCommand), true, save(53, 0x100)},
             {"control tab", keyDown(Key::tab, 0x40000), true, save(48, 0x1000)},
             {"menu's", keyDown(Key::n, kCommand), true, {Action::menuConflictAlert, true, Shortcut{45, 0x100}, "New"}},
             {"system's", keyDown(Key::space, kCommand), true, {Action::systemConflictAlert, true, kCommandSpace, {}}},
         }) {
        EXPECT_EQ(decide(event, fieldExists, users), expected) << what;
    }
    EXPECT_TRUE(isNearField(-3, 24.9, 130, 22));
    EXPECT_FALSE(isNearField(-3.1, 10, 130, 22) || isNearField(10, 25, 130, 22));
}

class FakeField final : public RecorderField {
public:
    [[nodiscard]] std::string text() const override { return shown; }
    void setText(const std::string& text) override { shown = text; }
    void setPlaceholder(const std::string& text) override { placeholder = text; }
    void setClearButtonShown(bool visible) override { clearButton = visible; }
    void setRecording(bool /*recording*/) override {}
    // As the toolkit tells the recorder of the keyboard's moves.
    void blur() override { controller->endRecording(); }
    void focus() override { controller->startRecording(); }
    void beep() override { ++beeps; }
    int runAlert(const RecorderAlert& alert) override {
        alerts.push_back(alert.title + "|" + alert.message.value_or("") + "|" + std::to_string(alert.buttons.size()));
        return answer();
    }

    RecorderController* controller = nullptr;
    std::string shown;
    std::string placeholder;
    bool clearButton = false;
    int beeps = 0;
    std::vector<std::string> alerts;
    std::function<int()> answer;
};

class RecorderTest : public RegistryFixture<> {
protected:
    RecorderTest() {
        system.entries = kSystemUsesCommandSpace;
        center.addObserver(std::string(Registry::shortcutByNameDidChange),
                           [this](const Notification& note) { posted.push_back(note.userInfo.at("name")); });
        controller = RecorderController::create(
            {*registry, {layout, system, nullptr}, strings, center}, name,
            [this](const auto& shortcut) { changes.push_back(shortcut); }, field);
        field.controller = controller.get();
    }

    bool press(Key key, std::int64_t flags) { return controller->handle(keyDown(key, flags)); }

    Name name = registry->makeName("cameraOff", kCtrlOptCmd0);
    FakeKeyboardLayout layout;
    FakeSymbolicHotKeys system;
    const Localization strings{{}, {"en"}};  // texts read as their keys
    FakeField field;
    std::shared_ptr<RecorderController> controller;
    std::vector<std::optional<Shortcut>> changes;
    std::vector<std::string> posted;
};

TEST_F(RecorderTest, RecordingPausesTheActionsUntilAnEscapeOrASaveAndDeleteClearsAndGoesOn) {
    int ran = 0;
    registry->onKeyUp(name, [&] { ++ran; });
    field.focus();
    EXPECT_EQ(field.placeholder, "press_shortcut");
    service.press(29, 0x1900, false);  // the release of the stored shortcut runs its actions
    EXPECT_TRUE(press(Key::b, kShift));
    EXPECT_EQ(field.beeps, 1);
    EXPECT_TRUE(press(Key::escape, 0));
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(field.placeholder, "record_shortcut");
    service.press(29, 0x1900, false);
    EXPECT_EQ(ran, 1);

    field.focus();
    EXPECT_TRUE(press(Key::b, kShift | kCommand));
    const Shortcut saved{11, 0x300};
    EXPECT_EQ(registry->getShortcut(name), saved);
    EXPECT_EQ(changes, (std::vector<std::optional<Shortcut>>{saved}));
    EXPECT_EQ(field.text(), "\u21E7\u2318B");
    EXPECT_FALSE(registry->isPaused());

    field.focus();
    EXPECT_TRUE(press(Key::delete_, 0));
    EXPECT_EQ(defaults.object("GlobalShortcuts_cameraOff"), DefaultsValue{false});
    EXPECT_EQ(posted, (std::vector<std::string>{"cameraOff", "cameraOff"}));
    EXPECT_EQ(changes.back(), std::nullopt);
    EXPECT_FALSE(field.clearButton);
    EXPECT_TRUE(press(Key::deleteForward, 0)) << "no clear button: nothing happens";
    EXPECT_EQ(posted.size(), 2U);
    EXPECT_EQ(changes.size(), 2U);
    EXPECT_TRUE(controller->isRecording());
}

TEST_F(RecorderTest, TheSystemAlertKeepsRecordingOnOkStoresOnForceAndTheFieldMayGoAwayDuringIt) {
    field.focus();
    field.answer = [] { return RecorderAlert::firstButton; };
    EXPECT_TRUE(press(Key::space, kCommand));
    EXPECT_EQ(field.alerts,
              std::vector<std::string>{"keyboard_shortcut_used_by_system|keyboard_shortcuts_can_be_changed|2"});
    EXPECT_TRUE(controller->isRecording());
    EXPECT_EQ(registry->getShortcut(name), kCtrlOptCmd0);

    field.answer = [this] {
        EXPECT_FALSE(registry->isPaused()) << "the alert comes after the end of recording";
        return RecorderAlert::secondButton;
    };
    EXPECT_TRUE(press(Key::space, kCommand));
    EXPECT_EQ(registry->getShortcut(name), kCommandSpace);
    EXPECT_FALSE(controller->isRecording());

    field.focus();
    field.answer = [this] {
        controller->endRecording();
        controller->detachField();
        controller.reset();
        return RecorderAlert::secondButton;
    };
    EXPECT_TRUE(press(Key::space, kCommand));
    EXPECT_FALSE(registry->isPaused());
    EXPECT_EQ(changes.size(), 1U) << "only the forced one";
}

TEST_F(RecorderTest, TheFieldFollowsTheStoreForItsOwnNameOnly) {
    field.shown = "stale";
    registry->setShortcut(kCommandSpace, registry->makeName("cameraOn"));
    EXPECT_EQ(field.text(), "stale");
    registry->setShortcut(kCommandSpace, name);
    EXPECT_EQ(field.text(), "\u2318Space");
}

}  // namespace
}  // namespace moritane::GlobalShortcuts
