#pragma once

#include "shortcuts/Shortcut.h"
#include "shortcuts/SymbolicHotKeys.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

/// The desktop's own shortcuts. GNOME keeps them in GSettings as accelerators such as
/// "<Super>Left" or "<Primary><Alt>t": the window manager's, the shell's and the media keys',
/// read anew at each call. Other desktops give an empty list.
class GnomeSymbolicHotKeys final : public GlobalShortcuts::SymbolicHotKeys {
public:
    /// `currentDesktop` as $XDG_CURRENT_DESKTOP has it.
    explicit GnomeSymbolicHotKeys(std::string_view currentDesktop);

    [[nodiscard]] std::optional<std::vector<Entry>> copySymbolicHotKeys() const override;

    /// The schemas read.
    static const std::vector<std::string_view>& schemas();

    /// An accelerator as a shortcut in service form: modifiers in angle brackets, then a key
    /// name. None for a key that has no place on the keyboard table or a modifier we do not know.
    static std::optional<GlobalShortcuts::Shortcut> parseAccelerator(std::string_view accelerator);

private:
    bool m_isGnome;
};

}  // namespace moritane
