#include "shortcuts/Shortcut.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <limits>
#include <utility>

namespace moritane::GlobalShortcuts {

namespace {

constexpr std::array<std::pair<std::int64_t, std::int64_t>, 4> kModifierBits{{
    {ModifierFlags::command, CarbonModifiers::command},
    {ModifierFlags::shift, CarbonModifiers::shift},
    {ModifierFlags::option, CarbonModifiers::option},
    {ModifierFlags::control, CarbonModifiers::control},
}};

std::optional<std::int64_t> integerMember(const nlohmann::json& object, const char* key) {
    const auto member = object.find(key);
    if (member == object.end()) {
        return std::nullopt;
    }
    if (member->is_number_unsigned()) {
        const auto value = member->get<std::uint64_t>();
        if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(value);
    }
    if (member->is_number_integer()) {
        return member->get<std::int64_t>();
    }
    return std::nullopt;
}

}  // namespace

std::int64_t carbonModifiers(std::int64_t modifierFlags) {
    std::int64_t carbon = 0;
    for (const auto& [cocoa, carbonBit] : kModifierBits) {
        if ((modifierFlags & cocoa) != 0) {
            carbon |= carbonBit;
        }
    }
    return carbon;
}

std::int64_t cocoaModifiers(std::int64_t carbonFlags) {
    std::int64_t cocoa = 0;
    for (const auto& [cocoaBit, carbon] : kModifierBits) {
        if ((carbonFlags & carbon) != 0) {
            cocoa |= cocoaBit;
        }
    }
    return cocoa;
}

Shortcut Shortcut::make(Key key, std::int64_t modifierFlags) {
    return {key.rawValue,
            GlobalShortcuts::carbonModifiers(cocoaModifiers(GlobalShortcuts::carbonModifiers(modifierFlags)))};
}

Shortcut Shortcut::fromCarbon(std::int64_t keyCode, std::int64_t modifiers) {
    return {keyCode, GlobalShortcuts::carbonModifiers(cocoaModifiers(modifiers))};
}

std::optional<Shortcut> Shortcut::fromEvent(const KeyEvent& event) {
    if (event.type != KeyEvent::keyDown && event.type != KeyEvent::keyUp) {
        return std::nullopt;
    }
    return make(Key{event.keyCode}, event.modifierFlags);
}

std::string encode(const Shortcut& shortcut) {
    return fmt::format(R"({{"carbonKeyCode":{},"carbonModifiers":{}}})", shortcut.carbonKeyCode,
                       shortcut.carbonModifiers);
}

std::optional<Shortcut> decodeShortcut(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto keyCode = integerMember(json, "carbonKeyCode");
    const auto modifiers = integerMember(json, "carbonModifiers");
    if (!keyCode || !modifiers || *keyCode < 0 || *keyCode > maximumKeyCode || *modifiers < 0 ||
        *modifiers > maximumModifiers) {
        return std::nullopt;
    }
    return Shortcut{*keyCode, *modifiers};
}

}  // namespace moritane::GlobalShortcuts
