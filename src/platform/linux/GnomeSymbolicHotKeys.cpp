#include "platform/linux/GnomeSymbolicHotKeys.h"

#include "platform/linux/X11KeyCodes.h"

#include <gio/gio.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace moritane {

using namespace GlobalShortcuts;

namespace {

/// Where each key symbol sits on the US layout, by virtual key code: accelerators name symbols,
/// shortcuts name positions.
const std::map<xkb_keysym_t, std::int64_t>& positionsOfSymbols() {
    static const auto positions = [] {
        std::map<xkb_keysym_t, std::int64_t> found;
        std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                           &xkb_context_unref);
        const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
        std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap(
            context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS) : nullptr,
            &xkb_keymap_unref);
        if (!keymap) {
            return found;
        }
        for (auto key = xkb_keymap_min_keycode(keymap.get()); key <= xkb_keymap_max_keycode(keymap.get()); ++key) {
            const auto position =
                key <= 0xFF ? x11keycodes::toVirtualKeyCode(static_cast<std::uint8_t>(key)) : std::nullopt;
            if (!position) {
                continue;
            }
            for (xkb_level_index_t level = 0; level < 2; ++level) {
                const xkb_keysym_t* symbols = nullptr;
                const int count = xkb_keymap_key_get_syms_by_level(keymap.get(), key, 0, level, &symbols);
                for (int index = 0; index < count; ++index) {
                    found.emplace(symbols[index], *position);  // the first place wins
                }
            }
        }
        return found;
    }();
    return positions;
}

std::optional<std::int64_t> modifierOf(std::string_view name) {
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    if (lower == "primary" || lower == "control" || lower == "ctrl" || lower == "ctl") {
        return CarbonModifiers::control;
    }
    if (lower == "shift") {
        return CarbonModifiers::shift;
    }
    if (lower == "alt" || lower == "mod1") {
        return CarbonModifiers::option;
    }
    if (lower == "super" || lower == "mod4" || lower == "meta") {
        return CarbonModifiers::command;
    }
    return std::nullopt;
}

/// The strings of one key of a schema: a list of accelerators, or one.
std::vector<std::string> accelerators(GSettings* settings, const char* key) {
    std::vector<std::string> found;
    std::unique_ptr<GVariant, decltype(&g_variant_unref)> value(g_settings_get_value(settings, key), &g_variant_unref);
    if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING_ARRAY)) {
        gsize count = 0;
        std::unique_ptr<const gchar*, decltype(&g_free)> strings(g_variant_get_strv(value.get(), &count), &g_free);
        for (gsize index = 0; index < count; ++index) {
            found.emplace_back(strings.get()[index]);
        }
    } else if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING)) {
        found.emplace_back(g_variant_get_string(value.get(), nullptr));
    }
    return found;
}

}  // namespace

GnomeSymbolicHotKeys::GnomeSymbolicHotKeys(std::string_view currentDesktop) {
    auto desktops = currentDesktop;
    m_isGnome = false;
    while (!desktops.empty()) {
        const auto end = std::min(desktops.find(':'), desktops.size());
        m_isGnome = m_isGnome || desktops.substr(0, end) == "GNOME";
        desktops.remove_prefix(std::min(end + 1, desktops.size()));
    }
}

const std::vector<std::string_view>& GnomeSymbolicHotKeys::schemas() {
    static const std::vector<std::string_view> names{
        "org.gnome.desktop.wm.keybindings", "org.gnome.shell.keybindings", "org.gnome.mutter.keybindings",
        "org.gnome.mutter.wayland.keybindings", "org.gnome.settings-daemon.plugins.media-keys"};
    return names;
}

std::optional<Shortcut> GnomeSymbolicHotKeys::parseAccelerator(std::string_view accelerator) {
    std::int64_t modifiers = 0;
    while (accelerator.starts_with('<')) {
        const auto close = accelerator.find('>');
        if (close == std::string_view::npos) {
            return std::nullopt;
        }
        const auto modifier = modifierOf(accelerator.substr(1, close - 1));
        if (!modifier) {
            return std::nullopt;
        }
        modifiers |= *modifier;
        accelerator.remove_prefix(close + 1);
    }
    if (accelerator.empty()) {
        return std::nullopt;
    }
    const auto symbol = xkb_keysym_from_name(std::string(accelerator).c_str(), XKB_KEYSYM_CASE_INSENSITIVE);
    const auto& positions = positionsOfSymbols();
    const auto position = positions.find(symbol);
    if (symbol == XKB_KEY_NoSymbol || position == positions.end()) {
        return std::nullopt;
    }
    return Shortcut::fromCarbon(position->second, modifiers);
}

std::optional<std::vector<SymbolicHotKeys::Entry>> GnomeSymbolicHotKeys::copySymbolicHotKeys() const {
    std::vector<Entry> entries;
    if (!m_isGnome) {
        return entries;
    }
    auto* source = g_settings_schema_source_get_default();
    for (const auto name : schemas()) {
        if (source == nullptr) {
            break;
        }
        std::unique_ptr<GSettingsSchema, decltype(&g_settings_schema_unref)> schema(
            g_settings_schema_source_lookup(source, std::string(name).c_str(), TRUE), &g_settings_schema_unref);
        if (!schema) {
            continue;  // that part of the desktop is not installed
        }
        std::unique_ptr<GSettings, decltype(&g_object_unref)> settings(
            g_settings_new_full(schema.get(), nullptr, nullptr), &g_object_unref);
        std::unique_ptr<gchar*, decltype(&g_strfreev)> keys(g_settings_schema_list_keys(schema.get()), &g_strfreev);
        for (auto** key = keys.get(); *key != nullptr; ++key) {
            for (const auto& accelerator : accelerators(settings.get(), *key)) {
                if (const auto shortcut = parseAccelerator(accelerator)) {
                    entries.push_back({{"kHISymbolicHotKeyEnabled", true},
                                       {"kHISymbolicHotKeyCode", shortcut->carbonKeyCode},
                                       {"kHISymbolicHotKeyModifiers", shortcut->carbonModifiers}});
                }
            }
        }
    }
    return entries;
}

}  // namespace moritane
