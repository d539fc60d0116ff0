#pragma once

#include "shortcuts/KeyboardLayout.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct xcb_connection_t;
struct xkb_keymap;

namespace moritane {

/// The X server's current keyboard layout through xkbcommon. The keymap and the active group are
/// fetched at each call, so that a change of layout (setxkbmap, the desktop's switcher) shows in
/// the next call. Of several groups, the active one counts if it prints Latin letters, else the
/// first that does, else the US layout, as shortcuts are read on a Latin layout. A dead key reads
/// as its accent. Without an X display every key has no text.
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
    /// Made once: it never changes. None when the system has no keyboard descriptions.
    xkb_keymap* usKeymap() const;

    xcb_connection_t* m_connection = nullptr;
    mutable std::shared_ptr<xkb_keymap> m_usKeymap;
    std::int32_t m_deviceId = -1;
};

}  // namespace moritane
