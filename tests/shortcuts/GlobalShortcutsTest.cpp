#include "shortcuts/GlobalShortcuts.h"

#include "shortcuts/RegistryFixture.h"

namespace moritane::GlobalShortcuts {
namespace {

const Shortcut kCtrlOptCmd1{18, 0x1900};
const Shortcut kCtrlOptCmd2{19, 0x1900};
using Strings = std::vector<std::string>;

class GlobalShortcutsTest : public RegistryFixture<> {
protected:
    GlobalShortcutsTest() {
        observer = center.addObserver(std::string(Registry::shortcutByNameDidChange), [this](const Notification& note) {
            // What the store holds when the notification goes out.
            posted.push_back(note.userInfo.at("name") + "=" +
                             defaults.string(Registry::key(Name{note.userInfo.at("name"), {}})).value_or("-"));
        });
    }

    std::optional<OSStatus> press(const Shortcut& shortcut, bool down) {
        return service.press(static_cast<std::uint32_t>(shortcut.carbonKeyCode),
                             static_cast<std::uint32_t>(shortcut.carbonModifiers), down);
    }
    /// A press and release; the status of the release.
    std::optional<OSStatus> tap(const Shortcut& shortcut) {
        press(shortcut, true);
        return press(shortcut, false);
    }
    void takeCalls() { service.calls.clear(); }

    ObserverToken observer;
    std::vector<std::string> posted;
};

TEST_F(GlobalShortcutsTest, ADefaultReachesTheStoreOnceInTheLifeOfTheDefaults) {
    registry->makeName("cameraOn", kCtrlOptCmd1);
    EXPECT_EQ(posted, Strings{R"(cameraOn={"carbonKeyCode":18,"carbonModifiers":6400})"});
    EXPECT_EQ(registry->registeredShortcuts(), std::set<Shortcut>{kCtrlOptCmd1});
    posted.clear();
    // A later start: what the user did stays, whatever it is.
    for (const DefaultsValue& stored : {DefaultsValue{false}, DefaultsValue{std::string(R"({"carbonKeyCode":29})")},
                                        DefaultsValue{std::int64_t{3}}}) {
        defaults.setObject("GlobalShortcuts_cameraOn", stored);
        const auto again = Registry::create({defaults, center, loop, service})->makeName("cameraOn", kCtrlOptCmd1);
        EXPECT_EQ(defaults.object("GlobalShortcuts_cameraOn"), stored);
        EXPECT_EQ(registry->getShortcut(again), std::nullopt);
    }
    EXPECT_TRUE(posted.empty());
}

TEST_F(GlobalShortcutsTest, SettingClearingAndResettingMoveTheRegistrationWriteThenPost) {
    const auto withDefault = registry->makeName("cameraOn", kCtrlOptCmd1);
    const auto withoutDefault = registry->makeName("custom");
    takeCalls();
    registry->setShortcut(kCtrlOptCmd2, withDefault);
    registry->setShortcut(kCtrlOptCmd2, withDefault);  // the same again goes through in full
    EXPECT_EQ(service.calls, (Strings{"unregister #1", "register 19 6400 #2", "unregister #2", "register 19 6400 #3"}));
    registry->setShortcut(kCtrlOptCmd2, withoutDefault);
    posted.clear();
    registry->setShortcut(std::nullopt, withDefault);
    registry->setShortcut(std::nullopt, withoutDefault);
    registry->setShortcut(std::nullopt, withoutDefault);
    registry->reset({});
    EXPECT_EQ(posted, (Strings{"cameraOn=0", "custom=-"}));  // false reads as "0"
    EXPECT_TRUE(std::holds_alternative<bool>(defaults.object("GlobalShortcuts_cameraOn")));
    EXPECT_TRUE(std::holds_alternative<std::monostate>(defaults.object("GlobalShortcuts_custom")));
    EXPECT_TRUE(registry->registeredShortcuts().empty());
    EXPECT_TRUE(service.registrations.empty());

    registry->setShortcut(kCtrlOptCmd2, withoutDefault);
    posted.clear();
    registry->reset({withDefault, registry->makeName("empty"), withoutDefault});
    registry->reset({withDefault});  // already the default: runs in full all the same
    EXPECT_EQ(posted, (Strings{R"(cameraOn={"carbonKeyCode":18,"carbonModifiers":6400})", "custom=-",
                               R"(cameraOn={"carbonKeyCode":18,"carbonModifiers":6400})"}));
    EXPECT_EQ(registry->registeredShortcuts(), std::set<Shortcut>{kCtrlOptCmd1});
}

TEST_F(GlobalShortcutsTest, NamesThatShareAShortcutShareItsRegistrationAndEachPressReadsTheStore) {
    const auto first = registry->makeName("first", kCtrlOptCmd1);
    const auto second = registry->makeName("second");
    registry->setShortcut(kCtrlOptCmd1, second);
    EXPECT_EQ(tap(kCtrlOptCmd1), noErr);  // consumed, though nothing runs
    Strings ran;
    registry->onKeyUp(first, [&] { ran.emplace_back("first up"); });
    registry->onKeyUp(first, [&] { ran.emplace_back("first up again"); });
    registry->onKeyDown(second, [&] { ran.emplace_back("second down"); });
    registry->onKeyUp(second, [&] { ran.emplace_back("second up"); });
    EXPECT_EQ(service.registrations.size(), 1U);
    tap(kCtrlOptCmd1);
    const Strings both{"second down", "first up", "first up again", "second up"};
    EXPECT_EQ(ran, both);

    // Changing one name ends the shared registration, though the other still holds it.
    registry->setShortcut(kCtrlOptCmd2, first);
    EXPECT_EQ(tap(kCtrlOptCmd1), std::nullopt);
    registry->enable({second});
    ran.clear();
    tap(kCtrlOptCmd1);
    EXPECT_EQ(ran, (Strings{"second down", "second up"}));
    // Another process of ours gives the shortcut back to the first.
    defaults.setObject("GlobalShortcuts_first", encode(kCtrlOptCmd1));
    ran.clear();
    tap(kCtrlOptCmd1);
    EXPECT_EQ(ran, both);
}

TEST_F(GlobalShortcutsTest, ARefusedRegistrationIsRememberedAndNotTriedAgain) {
    service.refused.insert({18, 0x1900});
    const auto name = registry->makeName("cameraOn", kCtrlOptCmd1);
    registry->onKeyUp(name, [] {});
    registry->enable({name});
    EXPECT_EQ(service.calls, Strings{"register 18 6400 #1"});
    EXPECT_EQ(registry->registeredShortcuts(), std::set<Shortcut>{kCtrlOptCmd1});
    EXPECT_EQ(service.handlersInstalled, 0U);
    registry->setShortcut(kCtrlOptCmd2, name);  // the id was spent; the first success installs the handler
    EXPECT_EQ(service.calls,
              (Strings{"register 18 6400 #1", "register 19 6400 #2", "install", "remove 1,3", "add 5,6"}));
}

TEST_F(GlobalShortcutsTest, AnOpenMenuOrDisablingSuspendsTheHotKeysAndNormalModeResumesThemUnderTheirIds) {
    const auto on = registry->makeName("cameraOn", kCtrlOptCmd1);
    const auto off = registry->makeName("cameraOff", kCtrlOptCmd2);
    Strings ran;
    registry->onKeyDown(on, [&] { ran.emplace_back("on down"); });
    registry->onKeyUp(on, [&] { ran.emplace_back("on up"); });
    takeCalls();
    center.post(Registry::menuDidBeginTracking);
    center.post(Registry::menuDidBeginTracking);  // no change, no update
    EXPECT_TRUE(registry->isMenuOpen());
    EXPECT_EQ(service.calls, (Strings{"unregister #1", "unregister #2", "remove 5,6", "add 1,3"}));
    EXPECT_EQ(press(kCtrlOptCmd1, true), noErr);
    EXPECT_EQ(press(kCtrlOptCmd1, false), noErr);
    EXPECT_EQ(press(Shortcut{18, 0x100}, true), eventNotHandledErr);  // not a shortcut: the menu has it
    EXPECT_EQ(ran, (Strings{"on down", "on up"}));
    takeCalls();
    center.post(Registry::menuDidEndTracking);
    EXPECT_EQ(service.calls, (Strings{"register 18 6400 #1", "register 19 6400 #2", "remove 1,3", "add 5,6"}));

    takeCalls();
    registry->setEnabled(false);
    registry->setEnabled(false);
    EXPECT_EQ(service.calls, (Strings{"unregister #1", "unregister #2", "remove 5,6", "remove 1,3"}));
    EXPECT_EQ(tap(kCtrlOptCmd1), std::nullopt);
    registry->setShortcut(Shortcut{20, 0x1900}, off);  // goes to the service while disabled
    EXPECT_EQ(service.calls.back(), "register 20 6400 #3");
    service.refused.insert({18, 0x1900});  // taken by another program meanwhile
    takeCalls();
    registry->setEnabled(true);
    EXPECT_EQ(service.calls, (Strings{"register 18 6400 #1", "remove 1,3", "add 5,6"}));
    EXPECT_EQ(registry->carbon().registrations(), (std::map<std::int64_t, Shortcut>{{3, Shortcut{20, 0x1900}}}));
    EXPECT_TRUE(registry->registeredShortcuts().contains(kCtrlOptCmd1));
    ran.clear();
    tap(kCtrlOptCmd1);
    EXPECT_TRUE(ran.empty());  // dead until its name is set again, or disabled and enabled
    service.refused.clear();
    registry->disable({on});
    registry->enable({on});
    press(kCtrlOptCmd1, false);
    EXPECT_EQ(ran, Strings{"on up"});
}

TEST_F(GlobalShortcutsTest, RawKeysOnlyInTheApplicationQueueAreTakenThereByTheLocalMonitor) {
    service.rawKeys = HotKeyService::RawKeySource::applicationQueue;
    const auto on = registry->makeName("cameraOn", kCtrlOptCmd1);
    int ran = 0;
    registry->onKeyUp(on, [&] { ++ran; });
    center.post(Registry::menuDidBeginTracking);
    const KeyboardEvent matching{EventKind::rawKeyUp, std::nullopt, 18, 0x1900};
    const KeyboardEvent other{EventKind::rawKeyUp, std::nullopt, 18, 0};
    service.applicationEvents = {{KeyEvent::keyUp, matching, 1},
                                 {1, std::nullopt, 2},
                                 {KeyEvent::keyUp, other, 3},
                                 {KeyEvent::keyDown, std::nullopt, 4}};
    service.runObservers(RunLoopMode::defaultMode);  // not its mode
    EXPECT_EQ(service.applicationEvents.size(), 4U);
    service.runObservers(RunLoopMode::eventTracking);
    std::vector<std::uint64_t> left;
    for (const auto& event : service.applicationEvents) {
        left.push_back(event.serial);
    }
    EXPECT_EQ(left, (std::vector<std::uint64_t>{2, 3, 4}));
    EXPECT_EQ(ran, 1);
    center.post(Registry::menuDidEndTracking);
    EXPECT_EQ(service.calls.back(), "add 5,6");
    service.applicationEvents = {{KeyEvent::keyUp, matching, 5}};
    service.runObservers(RunLoopMode::eventTracking);
    EXPECT_EQ(ran, 1);
}

TEST_F(GlobalShortcutsTest, StreamsAttachOnTheMainQueueOutliveTheActionsAndUnregisterAtTheirEnd) {
    const auto a = registry->makeName("a", kCtrlOptCmd1);
    const auto b = registry->makeName("b");
    registry->setShortcut(kCtrlOptCmd2, b);
    registry->unregister(kCtrlOptCmd2);
    auto ups = registry->events(b, EventType::keyUp);
    EXPECT_EQ(registry->registeredShortcuts(), std::set<Shortcut>{kCtrlOptCmd1});  // not before the main queue runs
    loop.drainMain();
    int ran = 0;
    registry->onKeyUp(a, [&] { ++ran; });
    registry->onKeyDown(b, [&] { ++ran; });
    registry->removeAllHandlers();
    EXPECT_EQ(registry->registeredShortcuts(), std::set<Shortcut>{kCtrlOptCmd2});
    tap(kCtrlOptCmd2);
    tap(kCtrlOptCmd2);
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(ups->next(), EventType::keyUp);
    EXPECT_EQ(ups->next(), EventType::keyUp);
    EXPECT_EQ(ups->next(), std::nullopt);
    ups.reset();
    EXPECT_FALSE(registry->registeredShortcuts().empty());
    loop.drainMain();
    EXPECT_TRUE(registry->registeredShortcuts().empty());
}

}  // namespace
}  // namespace moritane::GlobalShortcuts
