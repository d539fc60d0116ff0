#pragma once

#include "shortcuts/KeyboardLayout.h"
#include "shortcuts/MenuItem.h"
#include "shortcuts/SymbolicHotKeys.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// A layout the test switches: US, German (which swaps y and z and prints ß on the minus key),
/// or none at all.
class FakeKeyboardLayout final : public GlobalShortcuts::KeyboardLayout {
public:
    enum class Layout { us, german, none };

    [[nodiscard]] std::optional<std::string> character(std::uint16_t virtualKeyCode) const override;

    Layout current = Layout::us;
    mutable int asked = 0;
};

/// The system's shortcuts as the test lists them, or a failing call.
class FakeSymbolicHotKeys final : public GlobalShortcuts::SymbolicHotKeys {
public:
    [[nodiscard]] std::optional<std::vector<Entry>> copySymbolicHotKeys() const override { return entries; }

    std::optional<std::vector<Entry>> entries = std::vector<Entry>{};
};

/// A menu item in memory.
class FakeMenuItem final : public GlobalShortcuts::MenuItem {
public:
    FakeMenuItem(std::string itemTitle, std::string keyEquivalentText, std::int64_t mask)
        : label(std::move(itemTitle)), equivalent(std::move(keyEquivalentText)), modifierMask(mask) {}

    [[nodiscard]] std::string title() const override { return label; }
    [[nodiscard]] std::string keyEquivalent() const override { return equivalent; }
    [[nodiscard]] std::int64_t keyEquivalentModifierMask() const override { return modifierMask; }
    [[nodiscard]] const GlobalShortcuts::Menu* submenu() const override { return menu.get(); }
    void setKeyEquivalent(std::string text) override { equivalent = std::move(text); }
    void setKeyEquivalentModifierMask(std::int64_t mask) override { modifierMask = mask; }
    void setAllowsAutomaticKeyEquivalentLocalization(bool allows) override { allowsLocalization = allows; }

    std::string label;
    std::string equivalent;
    std::int64_t modifierMask = 0;
    std::unique_ptr<GlobalShortcuts::Menu> menu;
    std::optional<bool> allowsLocalization;
};

class FakeMenu final : public GlobalShortcuts::Menu {
public:
    [[nodiscard]] std::vector<GlobalShortcuts::MenuItem*> itemArray() const override {
        std::vector<GlobalShortcuts::MenuItem*> array;
        for (const auto& item : items) {
            array.push_back(item.get());
        }
        return array;
    }

    FakeMenuItem& add(std::string title, std::string keyEquivalent, std::int64_t mask) {
        return *items.emplace_back(std::make_unique<FakeMenuItem>(std::move(title), std::move(keyEquivalent), mask));
    }

    std::vector<std::unique_ptr<FakeMenuItem>> items;
};

}  // namespace moritane
