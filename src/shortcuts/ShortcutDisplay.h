#pragma once

#include "shortcuts/GlobalShortcuts.h"
#include "shortcuts/KeyboardLayout.h"
#include "shortcuts/MenuItem.h"
#include "shortcuts/Shortcut.h"
#include "shortcuts/SymbolicHotKeys.h"
#include "support/NotificationCenter.h"
#include "support/RunLoop.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// How shortcuts read to a person, and whether the system or a menu of ours already uses them.
namespace moritane::GlobalShortcuts {

/// The text of a key: from the fixed table for keys whose text does not depend on the layout,
/// else what the current layout prints on it unshifted.
std::optional<std::string> keyToCharacter(std::int64_t carbonKeyCode, const KeyboardLayout& layout);

/// The symbols of modifier flags in event form, always control, option, shift, command, function.
std::string modifierDescription(std::int64_t modifierFlags);

/// The modifier symbols, then the key's text capitalised, or U+FFFD for a key without text.
std::string description(const Shortcut& shortcut, const KeyboardLayout& layout);

/// The one character a menu item takes as key equivalent for `shortcut`; empty when there is none.
std::string keyEquivalent(const Shortcut& shortcut, const KeyboardLayout& layout);

/// The system's enabled shortcuts, read anew.
std::vector<Shortcut> systemShortcuts(const SymbolicHotKeys& symbolicHotKeys);

/// Whether the system uses `shortcut` itself; F12 alone never counts.
bool isTakenBySystem(const Shortcut& shortcut, const SymbolicHotKeys& symbolicHotKeys);

/// The first item of `menu`, depth first in menu order, whose key equivalent is `shortcut` on the
/// current layout.
MenuItem* menuItemWithMatchingShortcut(const Menu& menu, const Shortcut& shortcut, const KeyboardLayout& layout);

/// The same search in the application's main menu; none when there is no main menu.
MenuItem* takenByMainMenu(const Shortcut& shortcut, const Menu* mainMenu, const KeyboardLayout& layout);

/// The special keys F1 to F35 (U+F704 to U+F726), which may stand without a modifier.
const std::set<std::uint32_t>& functionKeys();

/// The keys of the subsystem's own localisation table.
namespace LocalizedKey {
inline constexpr std::string_view recordShortcut = "record_shortcut";
inline constexpr std::string_view pressShortcut = "press_shortcut";
inline constexpr std::string_view usedByMenuItem = "keyboard_shortcut_used_by_menu_item";
inline constexpr std::string_view usedBySystem = "keyboard_shortcut_used_by_system";
inline constexpr std::string_view canBeChanged = "keyboard_shortcuts_can_be_changed";
inline constexpr std::string_view ok = "ok";
inline constexpr std::string_view forceUseShortcut = "force_use_shortcut";
}  // namespace LocalizedKey

/// Keeps menu items' key equivalents in step with the shortcuts of names. Main thread, except that
/// a change of shortcut may be posted from any thread: the item is then updated in a later turn
/// of the main run loop.
class MenuItemShortcuts {
public:
    MenuItemShortcuts(Registry& registry, NotificationCenter& notificationCenter, RunLoop& mainRunLoop,
                      const KeyboardLayout& layout)
        : m_registry(registry),
          m_notificationCenter(notificationCenter),
          m_mainRunLoop(mainRunLoop),
          m_layout(layout) {}
    MenuItemShortcuts(const MenuItemShortcuts&) = delete;
    MenuItemShortcuts& operator=(const MenuItemShortcuts&) = delete;
    MenuItemShortcuts(MenuItemShortcuts&&) = delete;
    MenuItemShortcuts& operator=(MenuItemShortcuts&&) = delete;
    ~MenuItemShortcuts();

    /// Shows `name`'s shortcut on `item` and follows its changes until the item goes; with none,
    /// clears the item and stops following.
    void setShortcut(MenuItem& item, const std::optional<Name>& name);

private:
    /// The following of one name by one item. The item holds it, so that it ends with the item.
    struct Binding;

    void apply(MenuItem& item, const std::optional<Shortcut>& shortcut) const;
    void reapply(const std::weak_ptr<Binding>& binding);
    void unbind(MenuItem* item);

    Registry& m_registry;
    NotificationCenter& m_notificationCenter;
    RunLoop& m_mainRunLoop;
    const KeyboardLayout& m_layout;
    /// The items bound now, so that our end stops their observers.
    std::map<MenuItem*, ObserverToken> m_observers;
    // Bindings check this, so that they do nothing once we are gone.
    std::shared_ptr<MenuItemShortcuts*> m_self = std::make_shared<MenuItemShortcuts*>(this);
};

}  // namespace moritane::GlobalShortcuts
