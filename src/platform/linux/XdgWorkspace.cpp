#include "platform/linux/XdgWorkspace.h"

#include "camera/Constants.h"
#include "platform/linux/LinuxPaths.h"
#include "sources/CameraPermission.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <thread>

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX leaves it undeclared

namespace moritane {

XdgWorkspace::Environment XdgWorkspace::Environment::current() {
    auto path = linuxpaths::environmentVariable("PATH");
    return {path.empty() ? "/usr/local/bin:/usr/bin:/bin" : std::move(path)};
}

XdgWorkspace::XdgWorkspace(Environment environment, const std::vector<std::string>& preferredLocalizations)
    : m_environment(std::move(environment)), m_supportURL(Constants::websiteURL("support", preferredLocalizations)) {}

std::optional<std::string> XdgWorkspace::findProgram(std::string_view program, std::string_view searchPath) {
    std::size_t start = 0;
    while (start <= searchPath.size()) {
        const auto end = std::min(searchPath.find(':', start), searchPath.size());
        const auto directory = searchPath.substr(start, end - start);
        start = end + 1;
        if (directory.empty()) {
            continue;  // an empty entry would mean the working directory, which is no place to run from
        }
        auto candidate = std::string(directory) + "/" + std::string(program);
        struct stat status {};
        if (::stat(candidate.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            ::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> XdgWorkspace::commandFor(std::string_view url) const {
    // The support page in the user's language stands for the system's settings; for the camera
    // extension, its section on it.
    const auto extensionSupport = m_supportURL + "#camera-extension";
    if (url == cameraPrivacySettingsURL) {
        url = m_supportURL;
    } else if (url == extensionSettingsURL) {
        url = extensionSupport;
    }
    if (url.starts_with("https://") || url.starts_with("http://") || url.starts_with("mailto:")) {
        if (auto program = findProgram("xdg-open", m_environment.path)) {
            return std::vector<std::string>{*program, std::string(url)};
        }
    }
    // Other settings addresses have no counterpart here.
    return std::nullopt;
}

bool XdgWorkspace::openURL(std::string_view url) {
    const auto command = commandFor(url);
    if (!command) {
        return false;
    }
    std::vector<char*> arguments;
    for (const auto& argument : *command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    if (::posix_spawn(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
        return false;
    }
    // The opener may run as long as it likes; someone must still collect it when it ends.
    std::thread([child] { ::waitpid(child, nullptr, 0); }).detach();
    return true;
}

}  // namespace moritane
