#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
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

    /// Ties `object` to the item's life under `key`, an address of the caller's, in place of what
    /// was there; none just lets that go. Whatever is tied goes when the item goes.
    void setAssociatedObject(const void* key, std::shared_ptr<void> object) {
        if (object) {
            m_associatedObjects[key] = std::move(object);
        } else {
            m_associatedObjects.erase(key);
        }
    }

private:
    std::map<const void*, std::shared_ptr<void>> m_associatedObjects;
};

class Menu {
public:
    virtual ~Menu() = default;
    [[nodiscard]] virtual std::vector<MenuItem*> itemArray() const = 0;
};

}  // namespace moritane::GlobalShortcuts
