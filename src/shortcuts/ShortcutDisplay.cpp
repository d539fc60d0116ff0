#include "shortcuts/ShortcutDisplay.h"

#include "support/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cwctype>
#include <locale>
#include <map>
#include <utility>

namespace moritane::GlobalShortcuts {

namespace {

const std::array<std::int64_t, 20> kFunctionKeyCodes{122, 120, 99,  118, 96,  97,  98, 100, 101, 109,
                                                     103, 111, 105, 107, 113, 106, 64, 79,  80,  90};

constexpr std::string_view kEnclosingKeycap = "\u20E3";
constexpr std::string_view kReplacementCharacter = "\uFFFD";

const std::map<std::int64_t, std::string>& keyToCharacterTable() {
    static const auto table = [] {
        std::map<std::int64_t, std::string> entries{
            {36, "\u21A9"},       {51, "\u232B"},       {117, "\u2326"}, {119, "\u2198"}, {53, "\u238B"},
            {114, "?\u20DD"},     {115, "\u2196"},      {49, "Space"},   {48, "\u21E5"},  {116, "\u21DE"},
            {121, "\u21DF"},      {126, "\u2191"},      {124, "\u2192"}, {125, "\u2193"}, {123, "\u2190"},
            {76, "\u21A9\u20E3"}, {71, "\u2612\u20E3"},
        };
        for (const auto& [code, text] : {std::pair{65, "."},
                                         {75, "/"},
                                         {81, "="},
                                         {78, "-"},
                                         {67, "*"},
                                         {69, "+"},
                                         {82, "0"},
                                         {83, "1"},
                                         {84, "2"},
                                         {85, "3"},
                                         {86, "4"},
                                         {87, "5"},
                                         {88, "6"},
                                         {89, "7"},
                                         {91, "8"},
                                         {92, "9"}}) {
            entries[code] = std::string(text) + std::string(kEnclosingKeycap);
        }
        for (std::size_t index = 0; index < kFunctionKeyCodes.size(); ++index) {
            entries[kFunctionKeyCodes[index]] = fmt::format("F{}", index + 1);
        }
        return entries;
    }();
    return table;
}

const std::map<std::int64_t, std::string>& keyToKeyEquivalentTable() {
    static const auto table = [] {
        std::map<std::int64_t, std::string> entries{{49, " "}};
        for (std::size_t index = 0; index < kFunctionKeyCodes.size(); ++index) {
            entries[kFunctionKeyCodes[index]] = utf8::encode(static_cast<char32_t>(0xF704 + index));
        }
        return entries;
    }();
    return table;
}

/// Case mapping of the text's own characters, through the C library's UTF-8 tables.
const std::ctype<wchar_t>* caseTable() {
    static const std::ctype<wchar_t>* table = [] {
        try {
            static const std::locale utf8("C.UTF-8");
            return &std::use_facet<std::ctype<wchar_t>>(utf8);
        } catch (const std::runtime_error&) {
            return &std::use_facet<std::ctype<wchar_t>>(std::locale::classic());
        }
    }();
    return table;
}

/// The first letter of each word in upper case, the rest in lower case.
std::string capitalized(std::string_view text) {
    const auto* table = caseTable();
    std::string result;
    bool startOfWord = true;
    for (const auto point : utf8::codePoints(text)) {
        const auto wide = static_cast<wchar_t>(point);
        if (std::iswspace(static_cast<wint_t>(point)) != 0) {
            result += utf8::encode(point);
            startOfWord = true;
            continue;
        }
        result += utf8::encode(static_cast<char32_t>(startOfWord ? table->toupper(wide) : table->tolower(wide)));
        startOfWord = false;
    }
    return result;
}

std::string lowercased(std::string_view text) {
    const auto* table = caseTable();
    std::string result;
    for (const auto point : utf8::codePoints(text)) {
        result += utf8::encode(static_cast<char32_t>(table->tolower(static_cast<wchar_t>(point))));
    }
    return result;
}

/// The length the platform counts: UTF-16 units.
std::size_t utf16Length(std::string_view text) {
    std::size_t length = 0;
    for (const auto point : utf8::codePoints(text)) {
        length += point >= 0x10000 ? 2 : 1;
    }
    return length;
}

}  // namespace

std::optional<std::string> keyToCharacter(std::int64_t carbonKeyCode, const KeyboardLayout& layout) {
    const auto& table = keyToCharacterTable();
    if (const auto entry = table.find(carbonKeyCode); entry != table.end()) {
        return entry->second;
    }
    return layout.character(static_cast<std::uint16_t>(carbonKeyCode));
}

std::string modifierDescription(std::int64_t modifierFlags) {
    std::string text;
    for (const auto& [flag, symbol] : {std::pair{ModifierFlags::control, "\u2303"},
                                       {ModifierFlags::option, "\u2325"},
                                       {ModifierFlags::shift, "\u21E7"},
                                       {ModifierFlags::command, "\u2318"},
                                       {ModifierFlags::function, "\U0001F310\uFE0E"}}) {
        if ((modifierFlags & flag) != 0) {
            text += symbol;
        }
    }
    return text;
}

std::string description(const Shortcut& shortcut, const KeyboardLayout& layout) {
    const auto key = keyToCharacter(shortcut.carbonKeyCode, layout);
    return modifierDescription(shortcut.modifiers()) + (key ? capitalized(*key) : std::string(kReplacementCharacter));
}

std::string keyEquivalent(const Shortcut& shortcut, const KeyboardLayout& layout) {
    auto key = keyToCharacter(shortcut.carbonKeyCode, layout).value_or("");
    if (utf16Length(key) < 2) {
        return key;
    }
    const auto& table = keyToKeyEquivalentTable();
    const auto entry = table.find(shortcut.carbonKeyCode);
    return entry != table.end() ? entry->second : std::string();
}

std::vector<Shortcut> systemShortcuts(const SymbolicHotKeys& symbolicHotKeys) {
    std::vector<Shortcut> shortcuts;
    const auto entries = symbolicHotKeys.copySymbolicHotKeys();
    if (!entries) {
        return shortcuts;
    }
    for (const auto& entry : *entries) {
        const auto enabled = entry.find("kHISymbolicHotKeyEnabled");
        const auto code = entry.find("kHISymbolicHotKeyCode");
        const auto modifiers = entry.find("kHISymbolicHotKeyModifiers");
        if (enabled == entry.end() || code == entry.end() || modifiers == entry.end() ||
            !std::holds_alternative<bool>(enabled->second) || !std::get<bool>(enabled->second) ||
            !std::holds_alternative<std::int64_t>(code->second) ||
            !std::holds_alternative<std::int64_t>(modifiers->second)) {
            continue;
        }
        shortcuts.push_back(
            Shortcut::fromCarbon(std::get<std::int64_t>(code->second), std::get<std::int64_t>(modifiers->second)));
    }
    return shortcuts;
}

bool isTakenBySystem(const Shortcut& shortcut, const SymbolicHotKeys& symbolicHotKeys) {
    if (shortcut.carbonKeyCode == Key::f12.rawValue && shortcut.carbonModifiers == 0) {
        return false;
    }
    const auto taken = systemShortcuts(symbolicHotKeys);
    return std::find(taken.begin(), taken.end(), shortcut) != taken.end();
}

MenuItem* menuItemWithMatchingShortcut(const Menu& menu, const Shortcut& shortcut, const KeyboardLayout& layout) {
    const auto modifiers = shortcut.modifiers();
    const auto key = keyToCharacter(shortcut.carbonKeyCode, layout);
    for (auto* item : menu.itemArray()) {
        auto equivalent = item->keyEquivalent();
        auto mask = item->keyEquivalentModifierMask();
        // A capital letter in a menu stands for shift and the letter.
        if ((modifiers & ModifierFlags::shift) != 0) {
            if (auto lower = lowercased(equivalent); lower != equivalent) {
                equivalent = std::move(lower);
                mask |= ModifierFlags::shift;
            }
        }
        if (key && *key == equivalent && mask == modifiers) {
            return item;
        }
        if (const auto* submenu = item->submenu()) {
            if (auto* found = menuItemWithMatchingShortcut(*submenu, shortcut, layout)) {
                return found;
            }
        }
    }
    return nullptr;
}

MenuItem* takenByMainMenu(const Shortcut& shortcut, const Menu* mainMenu, const KeyboardLayout& layout) {
    return mainMenu != nullptr ? menuItemWithMatchingShortcut(*mainMenu, shortcut, layout) : nullptr;
}

const std::set<std::uint32_t>& functionKeys() {
    static const auto keys = [] {
        std::set<std::uint32_t> special;
        for (std::uint32_t key = 0xF704; key <= 0xF726; ++key) {
            special.insert(key);
        }
        return special;
    }();
    return keys;
}

struct MenuItemShortcuts::Binding {
    Binding(std::weak_ptr<MenuItemShortcuts*> bindingOwner, MenuItem& boundItem, Name boundName)
        : owner(std::move(bindingOwner)), item(boundItem), name(std::move(boundName)) {}
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;
    Binding(Binding&&) = delete;
    Binding& operator=(Binding&&) = delete;
    ~Binding() {
        if (const auto alive = owner.lock()) {
            (*alive)->unbind(&item);
        }
    }

    std::weak_ptr<MenuItemShortcuts*> owner;
    MenuItem& item;
    Name name;
};

MenuItemShortcuts::~MenuItemShortcuts() {
    for (const auto& [item, token] : m_observers) {
        m_notificationCenter.removeObserver(token);
    }
}

void MenuItemShortcuts::apply(MenuItem& item, const std::optional<Shortcut>& shortcut) const {
    item.setKeyEquivalent(shortcut ? keyEquivalent(*shortcut, m_layout) : std::string());
    item.setKeyEquivalentModifierMask(shortcut ? shortcut->modifiers() : 0);
    item.setAllowsAutomaticKeyEquivalentLocalization(!shortcut);
}

void MenuItemShortcuts::unbind(MenuItem* item) {
    if (const auto bound = m_observers.find(item); bound != m_observers.end()) {
        m_notificationCenter.removeObserver(bound->second);
        m_observers.erase(bound);
    }
}

void MenuItemShortcuts::setShortcut(MenuItem& item, const std::optional<Name>& name) {
    item.setAssociatedObject(this, nullptr);
    if (!name) {
        apply(item, std::nullopt);
        return;
    }
    apply(item, m_registry.getShortcut(*name));
    auto binding = std::make_shared<Binding>(m_self, item, *name);
    m_observers[&item] = m_notificationCenter.addObserver(
        std::string(Registry::shortcutByNameDidChange),
        [this, weakBinding = std::weak_ptr(binding), rawValue = name->rawValue](const Notification& notification) {
            const auto changed = notification.userInfo.find("name");
            if (changed != notification.userInfo.end() && changed->second == rawValue) {
                reapply(weakBinding);
            }
        });
    item.setAssociatedObject(this, std::move(binding));
}

void MenuItemShortcuts::reapply(const std::weak_ptr<Binding>& binding) {
    const auto applyNow = [](const std::weak_ptr<Binding>& weakBinding) {
        // Unbound meanwhile: the item has been cleared, or is gone.
        const auto bound = weakBinding.lock();
        const auto owner = bound ? bound->owner.lock() : nullptr;
        if (owner) {
            (*owner)->apply(bound->item, (*owner)->m_registry.getShortcut(bound->name));
        }
    };
    if (m_mainRunLoop.isMainThread()) {
        applyNow(binding);
        return;
    }
    m_mainRunLoop.post([binding, applyNow] { applyNow(binding); });
}

}  // namespace moritane::GlobalShortcuts
