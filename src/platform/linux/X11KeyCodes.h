#pragma once

#include <cstdint>
#include <optional>

/// The one fixed table between the product's virtual key codes (positions on an ANSI keyboard)
/// and the X server's key codes (the kernel's input codes plus 8), for the hot keys and the
/// keyboard layout alike.
namespace moritane::x11keycodes {

/// The X key code of the key at a virtual key code's position; none for a position that PC
/// keyboards lack.
std::optional<std::uint8_t> fromVirtualKeyCode(std::int64_t virtualKeyCode);

/// The virtual key code of an X key code; none for keys outside the table.
std::optional<std::int64_t> toVirtualKeyCode(std::uint8_t x11KeyCode);

}  // namespace moritane::x11keycodes
