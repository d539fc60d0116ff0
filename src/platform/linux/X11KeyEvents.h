#pragma once

#include "shortcuts/Shortcut.h"

#include <optional>

class QKeyEvent;

namespace moritane::x11keyevents {

/// A key event of Qt's X11 platform in the terms of the shortcut model: the virtual key code of
/// its X key code, and modifier flags in event form as the Mac's keyboard would set them (Super
/// is command, Alt is option). A modifier key alone changes flags and is no key press. None for
/// a key outside the key table.
std::optional<GlobalShortcuts::KeyEvent> fromQKeyEvent(const QKeyEvent& event);

}  // namespace moritane::x11keyevents
