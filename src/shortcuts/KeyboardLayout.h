#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace moritane::GlobalShortcuts {

/// The keyboard layout in use now.
class KeyboardLayout {
public:
    virtual ~KeyboardLayout() = default;
    /// What the current layout prints on the key at a virtual key code with no modifier held,
    /// asked of the system at each call so that a change of layout shows at once; none when there
    /// is no current layout or it prints nothing on that key.
    [[nodiscard]] virtual std::optional<std::string> character(std::uint16_t virtualKeyCode) const = 0;
};

}  // namespace moritane::GlobalShortcuts
