#include "platform/linux/XkbKeyboardLayout.h"

#include "platform/linux/X11KeyCodes.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <map>
#include <memory>

namespace moritane {

namespace {

using Context = std::unique_ptr<xkb_context, decltype(&xkb_context_unref)>;
using Keymap = std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)>;
using State = std::unique_ptr<xkb_state, decltype(&xkb_state_unref)>;

constexpr std::int64_t kVirtualKeyA = 0;

/// A dead key prints nothing by itself; it reads as its accent standing alone.
xkb_keysym_t spacingForm(xkb_keysym_t symbol) {
    static const std::map<xkb_keysym_t, char32_t> accents{
        {XKB_KEY_dead_grave, U'`'},
        {XKB_KEY_dead_acute, U'\u00B4'},
        {XKB_KEY_dead_circumflex, U'^'},
        {XKB_KEY_dead_tilde, U'~'},
        {XKB_KEY_dead_macron, U'\u00AF'},
        {XKB_KEY_dead_breve, U'\u02D8'},
        {XKB_KEY_dead_abovedot, U'\u02D9'},
        {XKB_KEY_dead_diaeresis, U'\u00A8'},
        {XKB_KEY_dead_abovering, U'\u02DA'},
        {XKB_KEY_dead_doubleacute, U'\u02DD'},
        {XKB_KEY_dead_caron, U'\u02C7'},
        {XKB_KEY_dead_cedilla, U'\u00B8'},
        {XKB_KEY_dead_ogonek, U'\u02DB'},
        {XKB_KEY_dead_voiced_sound, U'\u309B'},
        {XKB_KEY_dead_semivoiced_sound, U'\u309C'},
    };
    const auto accent = accents.find(symbol);
    return accent != accents.end() ? xkb_utf32_to_keysym(accent->second) : symbol;
}

/// The text of the first level of `key` in `group`; empty when it prints nothing.
std::string unshiftedText(xkb_keymap* keymap, xkb_keycode_t key, xkb_layout_index_t group) {
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap, key, group, 0, &symbols) < 1) {
        return {};
    }
    std::array<char, 16> text{};
    const auto length = xkb_keysym_to_utf8(spacingForm(symbols[0]), text.data(), text.size());
    if (length <= 1 || static_cast<unsigned char>(text[0]) < 0x20 || text[0] == 0x7F) {
        return {};  // nothing, or a control character
    }
    return {text.data(), static_cast<std::size_t>(length - 1)};
}

bool printsLatinLetters(xkb_keymap* keymap, xkb_layout_index_t group) {
    const auto key = x11keycodes::fromVirtualKeyCode(kVirtualKeyA).value_or(0);
    const auto text = unshiftedText(keymap, key, group);
    return text.size() == 1 && ((text[0] >= 'a' && text[0] <= 'z') || (text[0] >= 'A' && text[0] <= 'Z'));
}

}  // namespace

XkbKeyboardLayout::XkbKeyboardLayout(const char* displayName) {
    auto* connection = xcb_connect(displayName, nullptr);
    if (xcb_connection_has_error(connection) != 0 ||
        xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr) == 0) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = connection;
    m_deviceId = xkb_x11_get_core_keyboard_device_id(m_connection);
}

XkbKeyboardLayout::~XkbKeyboardLayout() {
    if (m_connection != nullptr) {
        xcb_disconnect(m_connection);
    }
}

std::optional<std::string> XkbKeyboardLayout::character(std::uint16_t virtualKeyCode) const {
    const auto key = x11keycodes::fromVirtualKeyCode(virtualKeyCode);
    if (m_connection == nullptr || m_deviceId < 0 || !key || xcb_connection_has_error(m_connection) != 0) {
        return std::nullopt;
    }
    const Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS), &xkb_context_unref);
    if (!context) {
        return std::nullopt;
    }
    const Keymap keymap(
        xkb_x11_keymap_new_from_device(context.get(), m_connection, m_deviceId, XKB_KEYMAP_COMPILE_NO_FLAGS),
        &xkb_keymap_unref);
    if (!keymap) {
        return std::nullopt;
    }
    const State state(xkb_x11_state_new_from_device(keymap.get(), m_connection, m_deviceId), &xkb_state_unref);
    if (!state) {
        return std::nullopt;
    }
    auto* readOn = keymap.get();
    auto group = xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE);
    if (!printsLatinLetters(readOn, group)) {
        const auto groups = xkb_keymap_num_layouts(readOn);
        group = 0;
        while (group < groups && !printsLatinLetters(readOn, group)) {
            ++group;
        }
        if (group == groups) {
            readOn = usKeymap();
            group = 0;
        }
    }
    if (readOn == nullptr) {
        return std::nullopt;
    }
    auto text = unshiftedText(readOn, *key, group);
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

xkb_keymap* XkbKeyboardLayout::usKeymap() const {
    if (!m_usKeymap) {
        const Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS), &xkb_context_unref);
        const xkb_rule_names names{nullptr, nullptr, "us", nullptr, nullptr};
        m_usKeymap = std::shared_ptr<xkb_keymap>(
            context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS) : nullptr,
            &xkb_keymap_unref);
    }
    return m_usKeymap.get();
}

}  // namespace moritane
