#pragma once

#include "sources/Workspace.h"

#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// Opens web and mail addresses with xdg-open, and the system settings addresses with what does
/// their job here. The camera privacy address leads to the product's support page, which tells
/// how to be let at the cameras (the video group): a desktop's camera privacy panel governs only
/// the camera portal, which this program does not go through, so it would lift no denial. The
/// extensions settings address leads there too: no desktop has a panel that approves the camera
/// extension, and the page tells how it is set up. An address with no counterpart here is a
/// failed open.
class XdgWorkspace final : public Workspace {
public:
    struct Environment {
        /// $PATH, searched for the programs.
        std::string path;

        static Environment current();
    };

    /// `preferredLocalizations` choose the language of the product's web pages.
    XdgWorkspace(Environment environment, const std::vector<std::string>& preferredLocalizations);

    /// True when a program to open it was started; its own outcome is not waited for.
    bool openURL(std::string_view url) override;

    /// The command that opens `url` here, or none.
    [[nodiscard]] std::optional<std::vector<std::string>> commandFor(std::string_view url) const;

    /// The full path of `program` on `searchPath`, or none when no executable file has that name.
    static std::optional<std::string> findProgram(std::string_view program, std::string_view searchPath);

private:
    Environment m_environment;
    std::string m_supportURL;
};

}  // namespace moritane
