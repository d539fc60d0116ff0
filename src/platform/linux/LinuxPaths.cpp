#include "platform/linux/LinuxPaths.h"

#include "support/Localization.h"

#include <pwd.h>
#include <unistd.h>
#include <cstdlib>

namespace moritane::linuxpaths {

std::string environmentVariable(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): read before threads start
    return value == nullptr ? std::string{} : std::string(value);
}

std::string accountHomeDirectory() {
    const auto* entry = ::getpwuid(::getuid());  // NOLINT(concurrency-mt-unsafe): read once at start
    return entry == nullptr || entry->pw_dir == nullptr ? std::string{} : std::string(entry->pw_dir);
}

std::filesystem::path homeDirectory() {
    if (std::filesystem::path home(environmentVariable("HOME")); home.is_absolute()) {
        return home;
    }
    if (std::filesystem::path account(accountHomeDirectory()); account.is_absolute()) {
        return account;
    }
    return "/nonexistent";
}

std::filesystem::path baseDirectory(const char* variable, const std::filesystem::path& underHome) {
    std::filesystem::path base(environmentVariable(variable));
    return base.is_absolute() ? base : homeDirectory() / underHome;
}

std::filesystem::path defaultsFile() {
    return baseDirectory("XDG_CONFIG_HOME", ".config") / "moritane" / "defaults.json";
}

std::filesystem::path instanceDirectory() {
    std::filesystem::path runtime(environmentVariable("XDG_RUNTIME_DIR"));
    std::error_code error;
    if (runtime.is_absolute() && std::filesystem::is_directory(runtime, error)) {
        return runtime;
    }
    auto directory = defaultsFile().parent_path();
    if (std::filesystem::create_directories(directory, error)) {
        std::filesystem::permissions(directory, std::filesystem::perms::owner_all, error);
    }
    return directory;
}

std::filesystem::path programPath() {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error).string();
    // A program replaced on disk while it runs, as by an upgrade of its package, is named so; the
    // new one stands at the same path.
    constexpr std::string_view replaced = " (deleted)";
    if (path.ends_with(replaced)) {
        path.resize(path.size() - replaced.size());
    }
    return path;
}

std::filesystem::path resourceDirectory() {
    return programPath().parent_path().parent_path() / "share" / "moritane";
}

std::vector<std::string> preferredLanguages() {
    return Localization::languagesFromLocale(environmentVariable("LANGUAGE"), environmentVariable("LC_ALL"),
                                             environmentVariable("LC_MESSAGES"), environmentVariable("LANG"));
}

}  // namespace moritane::linuxpaths
