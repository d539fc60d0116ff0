#include "shortcuts/ShortcutDisplay.h"

#include "platform/sim/FakeKeyboardLayouts.h"
#include "shortcuts/RegistryFixture.h"
#include "support/Localization.h"

#include <thread>

namespace moritane::GlobalShortcuts {
namespace {

using Layout = FakeKeyboardLayout::Layout;

constexpr std::int64_t kCtrlOptCmd = 0x1900;
constexpr std::int64_t kShift = ModifierFlags::shift;
constexpr std::int64_t kCommand = ModifierFlags::command;

SymbolicHotKeys::Entry hotKey(bool enabled, std::int64_t code, std::int64_t modifiers) {
    return {{"kHISymbolicHotKeyEnabled", enabled},
            {"kHISymbolicHotKeyCode", code},
            {"kHISymbolicHotKeyModifiers", modifiers}};
}

TEST(ShortcutDisplayTest, KeysReadAsTheLayoutOfTheMomentPrintsThemOrAsTheirFixedText) {
    FakeKeyboardLayout layout;
    for (const auto& [shortcut, text, equivalent] : std::vector<std::tuple<Shortcut, std::string, std::string>>{
             {Shortcut::make(Key::zero, 0x1C0000), "\u2303\u2325\u23180", "0"},
             {Shortcut::make(Key::a, kCommand | kShift | ModifierFlags::control), "\u2303\u21E7\u2318A", "a"},
             {Shortcut{Key::y.rawValue, 0x100}, "\u2318Y", "y"},
             {Shortcut{Key::space.rawValue, 0x100}, "\u2318Space", " "},
             {Shortcut{Key::f1.rawValue, 0}, "F1", "\uF704"},
             {Shortcut{Key::f20.rawValue, 0}, "F20", "\uF717"},
             {Shortcut{Key::upArrow.rawValue, 0}, "\u2191", "\u2191"},
             {Shortcut{Key::keypad7.rawValue, 0}, "7\u20E3", ""},  // two characters, no entry
         }) {
        EXPECT_EQ(description(shortcut, layout), text) << shortcut.carbonKeyCode;
        EXPECT_EQ(keyEquivalent(shortcut, layout), equivalent) << shortcut.carbonKeyCode;
    }
    EXPECT_EQ(modifierDescription(ModifierFlags::function | kCommand | ModifierFlags::option),
              "\u2325\u2318\U0001F310\uFE0E");

    layout.current = Layout::german;
    EXPECT_EQ(description(Shortcut{Key::y.rawValue, 0x100}, layout), "\u2318Z");
    EXPECT_EQ(description(Shortcut{Key::minus.rawValue, 0}, layout), "\u00DF");  // no single capital
    layout.asked = 0;
    for (const auto key : {Key::return_, Key::delete_, Key::escape, Key::f20, Key::keypadEnter, Key::upArrow}) {
        EXPECT_TRUE(keyToCharacter(key.rawValue, layout));
    }
    EXPECT_EQ(layout.asked, 0);
    layout.current = Layout::none;
    EXPECT_EQ(description(Shortcut{Key::a.rawValue, kCtrlOptCmd}, layout), "\u2303\u2325\u2318\uFFFD");
    EXPECT_EQ(keyEquivalent(Shortcut{Key::b.rawValue, 0}, layout), "");
}

TEST(ShortcutDisplayTest, OnlyWellFormedEnabledSystemShortcutsCountAndF12AloneNeverDoes) {
    auto enabledAsNumber = hotKey(true, 0, 0);
    enabledAsNumber["kHISymbolicHotKeyEnabled"] = std::int64_t{1};
    auto codeAsText = hotKey(true, 1, 0);
    codeAsText["kHISymbolicHotKeyCode"] = std::string("1");
    auto noModifiers = hotKey(true, 2, 0);
    noModifiers.erase("kHISymbolicHotKeyModifiers");
    FakeSymbolicHotKeys system;
    system.entries =
        std::vector<SymbolicHotKeys::Entry>{hotKey(true, Key::space.rawValue, 0x100 | 0x1),  // modifiers normalised
                                            hotKey(false, Key::a.rawValue, 0x100),
                                            hotKey(true, Key::f12.rawValue, 0),
                                            hotKey(true, Key::f12.rawValue, 0x800),
                                            enabledAsNumber,
                                            codeAsText,
                                            noModifiers};
    EXPECT_EQ(systemShortcuts(system), (std::vector<Shortcut>{{49, 0x100}, {111, 0}, {111, 0x800}}));
    EXPECT_TRUE(isTakenBySystem(Shortcut{49, 0x100}, system));
    EXPECT_FALSE(isTakenBySystem(Shortcut{0, 0x100}, system));
    EXPECT_FALSE(isTakenBySystem(Shortcut{111, 0}, system));
    EXPECT_TRUE(isTakenBySystem(Shortcut{111, 0x800}, system));
    system.entries.reset();
    EXPECT_TRUE(systemShortcuts(system).empty());
}

TEST(ShortcutDisplayTest, MenuSearchIsDepthFirstWithTheShiftRuleAndExactMasks) {
    FakeKeyboardLayout layout;
    FakeMenu mainMenu;
    mainMenu.add("Plain n", "n", kCommand);
    auto& file = mainMenu.add("File", "", 0);
    auto submenu = std::make_unique<FakeMenu>();
    auto& capital = submenu->add("New Window", "N", kCommand);
    auto& digit = submenu->add("Digit", "1", kCommand);
    file.menu = std::move(submenu);
    auto& later = mainMenu.add("Later n", "n", kCommand | kShift);

    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::n, kCommand), &mainMenu, layout), mainMenu.items[0].get());
    // With shift, "N" reads as shift and n; the plain n without shift in its mask does not match.
    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::n, kCommand | kShift), &mainMenu, layout), &capital);
    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::one, kCommand), &mainMenu, layout), &digit);
    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::keypad1, kCommand), &mainMenu, layout), nullptr);
    mainMenu.items[1]->menu.reset();
    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::n, kCommand | kShift), &mainMenu, layout), &later);
    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::n, kCommand), nullptr, layout), nullptr);
    layout.current = Layout::none;
    EXPECT_EQ(takenByMainMenu(Shortcut::make(Key::n, kCommand), &mainMenu, layout), nullptr);
}

/// The store and registry that menu-item bindings follow.
class MenuItemBindingTest : public RegistryFixture<> {
protected:
    FakeKeyboardLayout layout;
};

TEST_F(MenuItemBindingTest, ABoundMenuItemFollowsItsName) {
    const auto name = registry->makeName("cameraOn", Shortcut::make(Key::one, 0x1C0000));
    FakeMenuItem item("Camera", "", 0);
    MenuItemShortcuts binding(*registry, center, loop, layout);
    const auto shown = [&] { return std::tuple(item.equivalent, item.modifierMask, item.allowsLocalization); };
    binding.setShortcut(item, name);
    EXPECT_EQ(shown(), std::tuple("1", 0x1C0000, false));
    registry->setShortcut(Shortcut::make(Key::f1, kCommand), name);
    registry->setShortcut(Shortcut::make(Key::b, 0), registry->makeName("other"));  // another name: no change
    EXPECT_EQ(shown(), std::tuple("\uF704", kCommand, false));
    registry->setShortcut(std::nullopt, name);
    EXPECT_EQ(shown(), std::tuple("", 0, true));
}

TEST_F(MenuItemBindingTest, AChangeFromAnotherThreadReachesOnTheMainThreadTheItemsStillBound) {
    const auto name = registry->makeName("cameraOff", Shortcut::make(Key::zero, kCommand));
    FakeMenuItem item("Camera Off", "", 0);
    FakeMenuItem unbound("Other", "", 0);
    auto gone = std::make_unique<FakeMenuItem>("Gone", "", 0);
    auto goneWhileQueued = std::make_unique<FakeMenuItem>("Gone later", "", 0);
    auto binding = std::make_unique<MenuItemShortcuts>(*registry, center, loop, layout);
    for (auto* bound : {&item, &unbound, gone.get(), goneWhileQueued.get()}) {
        binding->setShortcut(*bound, name);
    }
    gone.reset();
    // Another process of ours changed the stored shortcut; the change is announced off the main thread.
    const auto announceFromAnotherThread = [&](const Shortcut& shortcut) {
        defaults.setObject(Registry::key(name), encode(shortcut));
        std::thread([&] { center.post(Registry::shortcutByNameDidChange, {{"name", name.rawValue}}); }).join();
    };
    announceFromAnotherThread(Shortcut::make(Key::b, kCommand));
    binding->setShortcut(unbound, std::nullopt);
    goneWhileQueued.reset();
    EXPECT_EQ(item.equivalent, "0");
    loop.drainMain();
    EXPECT_EQ(item.equivalent, "b");
    EXPECT_EQ(unbound.equivalent, "");

    announceFromAnotherThread(Shortcut::make(Key::c, kCommand));
    binding.reset();
    loop.drainMain();
    EXPECT_EQ(item.equivalent, "b");
}

TEST(ShortcutDisplayTest, TheSubsystemShipsItsOwnTableInEnglishAndJapanese) {
    const auto directory = std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n/GlobalShortcuts";
    for (const auto* language : {"en", "ja"}) {
        const auto localization = Localization::load(directory, {language});
        ASSERT_TRUE(localization) << localization.error().description;
        for (const auto key : {LocalizedKey::recordShortcut, LocalizedKey::pressShortcut, LocalizedKey::usedByMenuItem,
                               LocalizedKey::usedBySystem, LocalizedKey::canBeChanged, LocalizedKey::ok,
                               LocalizedKey::forceUseShortcut}) {
            EXPECT_NE(localization.value().string(key), key) << language << " lacks " << key;
        }
        const auto title = Localization::format(localization.value().string(LocalizedKey::usedByMenuItem), {"New"});
        EXPECT_NE(title.find("“New”"), std::string::npos) << title;
    }
}

}  // namespace
}  // namespace moritane::GlobalShortcuts
