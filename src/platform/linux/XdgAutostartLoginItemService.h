#pragma once

#include "shell/model/LoginItemService.h"

#include <filesystem>
#include <string>

namespace moritane {

/// The login item as a desktop entry in the user's XDG autostart directory, which desktops that
/// follow the freedesktop.org autostart rules start at login. The entry says that it is ours; an
/// entry of the same name that is not is never touched and counts as not enabled.
class XdgAutostartLoginItemService final : public LoginItemService {
public:
    /// The entry is "moritane.desktop" in `autostartDirectory`; it starts `program`, an absolute path.
    XdgAutostartLoginItemService(const std::filesystem::path& autostartDirectory, std::filesystem::path program);

    /// $XDG_CONFIG_HOME/autostart, or ~/.config/autostart.
    static std::filesystem::path userAutostartDirectory();

    [[nodiscard]] Status status() const override;
    std::optional<Error> registerLoginItem() override;
    std::optional<Error> unregisterLoginItem() override;

    [[nodiscard]] const std::filesystem::path& entryPath() const { return m_entry; }

    /// The entry as written for `program`; an error for a path that no Exec key can hold.
    static Result<std::string> entryFor(const std::filesystem::path& program);

    /// The key that marks an entry as ours.
    static constexpr std::string_view ownerKey = "X-Moritane-LoginItem";

private:
    enum class Entry { none, ours, ourDisabled, somebodyElses };
    [[nodiscard]] Entry readEntry() const;

    std::filesystem::path m_entry;
    std::filesystem::path m_program;
};

}  // namespace moritane
