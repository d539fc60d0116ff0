#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Where the Linux edition keeps its things, from the environment as the XDG rules read it.
namespace moritane::linuxpaths {

/// The value of an environment variable; empty when unset. Read it before threads start.
std::string environmentVariable(const char* name);

/// The home directory in the password database, which does not follow $HOME; empty if none.
std::string accountHomeDirectory();

/// $HOME when it is an absolute path, else the home of the password database.
std::filesystem::path homeDirectory();

/// The XDG base directory named by `variable` when it is an absolute path, else `underHome`
/// in the home directory (as XDG_CONFIG_HOME falls back to ~/.config).
std::filesystem::path baseDirectory(const char* variable, const std::filesystem::path& underHome);

/// $XDG_CONFIG_HOME/moritane/defaults.json, or ~/.config/moritane/defaults.json.
std::filesystem::path defaultsFile();

/// Where the running instance keeps its lock and socket: $XDG_RUNTIME_DIR, private to the user
/// and emptied at logout, or else the directory of the defaults file, made if missing.
std::filesystem::path instanceDirectory();

/// The installed resources: share/moritane beside the bin directory of the running program.
std::filesystem::path resourceDirectory();

/// The absolute path of the running program.
std::filesystem::path programPath();

/// The user's languages from the locale variables, most preferred first.
std::vector<std::string> preferredLanguages();

}  // namespace moritane::linuxpaths
