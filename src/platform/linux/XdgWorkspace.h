#pragma once

#include "sources/Workspace.h"

#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// Opens web and mail addresses with xdg-open, and the system settings addresses with the
/// desktop's own settings where it has a counterpart (the camera privacy page of GNOME Settings).
/// An address with no counterpart here is a failed open.
class XdgWorkspace final : public Workspace {
public:
    struct Environment {
        /// $PATH, searched for the programs.
        std::string path;
        /// $XDG_CURRENT_DESKTOP, such as "ubuntu:GNOME" or "KDE".
        std::string currentDesktop;

        static Environment current();
    };

    explicit XdgWorkspace(Environment environment) : m_environment(std::move(environment)) {}

    /// True when a program to open it was started; its own outcome is not waited for.
    bool openURL(std::string_view url) override;

    /// The command that opens `url` on this desktop, or none.
    static std::optional<std::vector<std::string>> commandFor(std::string_view url, const Environment& environment);

    /// The full path of `program` on `searchPath`, or none when no executable file has that name.
    static std::optional<std::string> findProgram(std::string_view program, std::string_view searchPath);

private:
    Environment m_environment;
};

}  // namespace moritane
