#pragma once

#include "shortcuts/KeyboardLayout.h"

#include <cstdint>
#include <optional>
#include <string>

struct xcb_connection_t;

namespace moritane {

/// The X server's current keyboard layout through xkbcommon. The keymap and the active group are
/// fetched at each call, so that a change of layout (setxkbmap, the desktop's switcher) shows in
/// the next call. Of several groups, the active one counts if it prints Latin letters, else the
/// first that does, as shortcuts are read on a Latin layout. Without an X display every key has
/// no text.
class XkbKeyboardLayout final : public GlobalShortcuts::KeyboardLayout {
public:
    explicit XkbKeyboardLayout(const char* displayName = nullptr);
    XkbKeyboardLayout(const XkbKeyboardLayout&) = delete;
    XkbKeyboardLayout& operator=(const XkbKeyboardLayout&) = delete;
    XkbKeyboardLayout(XkbKeyboardLayout&&) = delete;
    XkbKeyboardLayout& operator=(XkbKeyboardLayout&&) = delete;
    ~XkbKeyboardLayout() override;

    [[nodiscard]] std::optional<std::string> character(std::uint16_t virtualKeyCode) const override;

private:
    xcb_connection_t* m_connection = nullptr;
    std::int32_t m_deviceId = -1;
};

}  // namespace moritane
