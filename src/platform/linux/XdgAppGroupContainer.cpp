#include "platform/linux/XdgAppGroupContainer.h"

#include "platform/linux/LinuxPaths.h"
#include "support/Files.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>

namespace moritane {

XdgAppGroupContainer::Environment XdgAppGroupContainer::Environment::current() {
    return Environment{linuxpaths::environmentVariable("XDG_DATA_HOME"), linuxpaths::environmentVariable("HOME"),
                       linuxpaths::accountHomeDirectory()};
}

std::optional<std::filesystem::path> XdgAppGroupContainer::dataHome() const {
    // Relative values are invalid by the XDG rules and are ignored.
    const std::filesystem::path xdg(m_environment.xdgDataHome);
    if (xdg.is_absolute()) {
        return xdg;
    }
    const std::filesystem::path home(m_environment.home);
    if (home.is_absolute()) {
        return home / ".local" / "share";
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> XdgAppGroupContainer::containerPath(std::string_view groupIdentifier) const {
    const auto base = dataHome();
    if (!base) {
        return std::nullopt;
    }
    return *base / groupIdentifier;
}

std::optional<std::filesystem::path> XdgAppGroupContainer::containerURL(std::string_view groupIdentifier) const {
    auto path = containerPath(groupIdentifier);
    if (!path) {
        tellFallback("neither XDG_DATA_HOME nor HOME names a directory");
        return std::nullopt;
    }
    auto container = std::move(*path);
    const auto base = container.parent_path();
    std::error_code error;
    if (!std::filesystem::is_directory(container, error)) {
        files::createDirectories(base);
        const int made = ::mkdir(container.c_str(), 0700) == 0 ? 0 : errno;
        if (!std::filesystem::is_directory(container, error)) {
            tellFallback(fmt::format("cannot make {}: {}", container,
                                     std::generic_category().message(made != 0 ? made : ENOTDIR)));
            return std::nullopt;
        }
    }
    return container;
}

void XdgAppGroupContainer::tellFallback(std::string_view reason) const {
    if (!m_toldFallback.exchange(true)) {
        m_log.write(fmt::format("XdgAppGroupContainer: no shared directory in the data home ({}); using {} instead",
                                reason, fixedSharedDirectory()));
    }
}

std::filesystem::path XdgAppGroupContainer::fixedSharedDirectory() const {
    for (const auto& candidate : {m_environment.accountHome, m_environment.home}) {
        if (const std::filesystem::path home(candidate); home.is_absolute()) {
            return home / ".moritane";
        }
    }
    // No home at all leaves no private place; the conventional home of accounts without one makes
    // every later write fail, and say so, rather than land somewhere others can reach.
    return std::filesystem::path("/nonexistent") / ".moritane";
}

}  // namespace moritane
