#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moritane::GlobalShortcuts {

class Menu;

/// A menu item as shortcut conflicts and key equivalents see it.
class MenuItem {
public:
    virtual ~MenuItem() = default;
    [[nodiscard]] virtual std::string title() const = 0;
    [[nodiscard]] virtual std::string keyEquivalent() const = 0;
    /// In event form.
    [[nodiscard]] virtual std::int64_t keyEquivalentModifierMask() const = 0;
    [[nodiscard]] virtual const Menu* submenu() const = 0;
    virtual void setKeyEquivalent(std::string keyEquivalent) = 0;
    virtual void setKeyEquivalentModifierMask(std::int64_t mask) = 0;
    /// Whether the system may move the key equivalent to suit the keyboard layout.
    virtual void setAllowsAutomaticKeyEquivalentLocalization(bool allows) = 0;
};

class Menu {
public:
    virtual ~Menu() = default;
    [[nodiscard]] virtual std::vector<MenuItem*> itemArray() const = 0;
};

}  // namespace moritane::GlobalShortcuts
