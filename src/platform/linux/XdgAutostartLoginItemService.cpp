#include "platform/linux/XdgAutostartLoginItemService.h"

#include "platform/linux/LinuxPaths.h"
#include "support/Files.h"

#include <fmt/format.h>

#include <cerrno>
#include <map>
#include <sstream>

namespace moritane {

namespace {

constexpr std::size_t kMaxEntryBytes = std::size_t{64} * 1024;
constexpr std::string_view kDomain = "LoginItem";

/// The keys of the "[Desktop Entry]" group; of a key written twice the later counts, as desktops read it.
std::map<std::string, std::string, std::less<>> desktopEntryKeys(const std::string& content) {
    std::map<std::string, std::string, std::less<>> keys;
    std::istringstream lines(content);
    bool inGroup = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            inGroup = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inGroup || equals == std::string::npos) {
            continue;
        }
        auto trim = [](const std::string& text) {
            const auto first = text.find_first_not_of(" \t");
            const auto last = text.find_last_not_of(" \t\r");
            return first == std::string::npos ? std::string{} : text.substr(first, last - first + 1);
        };
        keys.insert_or_assign(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
    }
    return keys;
}

bool isTrue(const std::map<std::string, std::string, std::less<>>& keys, std::string_view key) {
    const auto found = keys.find(key);
    return found != keys.end() && found->second == "true";
}

bool isFalse(const std::map<std::string, std::string, std::less<>>& keys, std::string_view key) {
    const auto found = keys.find(key);
    return found != keys.end() && found->second == "false";
}

/// One argument of an Exec key: quoted, with the characters that quoting does not protect escaped,
/// then escaped again as a desktop entry's string value.
std::optional<std::string> execArgument(const std::string& argument) {
    std::string quoted = "\"";
    for (const char character : argument) {
        switch (character) {
        case '"':
        case '`':
        case '$':
            quoted += R"(\\)";  // a backslash, itself escaped in the string value
            quoted += character;
            break;
        case '\\':
            quoted += R"(\\\\)";
            break;
        case '%':
            quoted += "%%";
            break;
        case '\n':
        case '\r':
        case '\t':
            return std::nullopt;
        default:
            quoted += character;
        }
    }
    return quoted + "\"";
}

}  // namespace

XdgAutostartLoginItemService::XdgAutostartLoginItemService(const std::filesystem::path& autostartDirectory,
                                                           std::filesystem::path program)
    : m_entry(autostartDirectory / "moritane.desktop"), m_program(std::move(program)) {}

std::filesystem::path XdgAutostartLoginItemService::userAutostartDirectory() {
    std::filesystem::path base(linuxpaths::environmentVariable("XDG_CONFIG_HOME"));
    if (!base.is_absolute()) {
        base = linuxpaths::homeDirectory() / ".config";
    }
    return base / "autostart";
}

Result<std::string> XdgAutostartLoginItemService::entryFor(const std::filesystem::path& program) {
    const auto exec = execArgument(program.string());
    if (!program.is_absolute() || !exec) {
        return Error{std::string(kDomain), EINVAL,
                     fmt::format("the program's path {} cannot be written in an autostart entry", program.string())};
    }
    return fmt::format(
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Moritane\n"
        "Comment=Virtual camera controller\n"
        "Exec={}\n"
        "Icon=moritane\n"
        "Terminal=false\n"
        "X-GNOME-Autostart-enabled=true\n"
        "{}=true\n",
        *exec, ownerKey);
}

XdgAutostartLoginItemService::Entry XdgAutostartLoginItemService::readEntry() const {
    // Only a regular file is read: a pipe in its place must not hold the main thread.
    const auto content = files::readFile(m_entry, kMaxEntryBytes);
    if (!content) {
        return files::exists(m_entry) ? Entry::somebodyElses : Entry::none;
    }
    const auto keys = desktopEntryKeys(content.value());
    if (!isTrue(keys, ownerKey)) {
        return Entry::somebodyElses;
    }
    // The desktop's own switches, which its settings set to turn an entry off without removing it.
    const bool disabled = isTrue(keys, "Hidden") || isFalse(keys, "X-GNOME-Autostart-enabled");
    // An entry left by a copy of the program installed elsewhere does not start this one.
    const auto exec = keys.find("Exec");
    const bool startsThisProgram = exec != keys.end() && exec->second == execArgument(m_program.string());
    return disabled || !startsThisProgram ? Entry::ourDisabled : Entry::ours;
}

LoginItemService::Status XdgAutostartLoginItemService::status() const {
    return readEntry() == Entry::ours ? Status::enabled : Status::notRegistered;
}

std::optional<Error> XdgAutostartLoginItemService::registerLoginItem() {
    if (readEntry() == Entry::somebodyElses) {
        return Error{std::string(kDomain), EEXIST,
                     fmt::format("{} is not Moritane's entry; it was left as it is", m_entry.string())};
    }
    auto content = entryFor(m_program);
    if (!content) {
        return content.error();
    }
    std::error_code error;
    std::filesystem::create_directories(m_entry.parent_path(), error);
    if (error) {
        return files::posixError(error.value(), "could not create the directory", m_entry.parent_path());
    }
    return files::writeFileAtomically(m_entry, content.value());
}

std::optional<Error> XdgAutostartLoginItemService::unregisterLoginItem() {
    switch (readEntry()) {
    case Entry::none:
        return std::nullopt;
    case Entry::somebodyElses:
        return Error{std::string(kDomain), EPERM,
                     fmt::format("{} is not Moritane's entry; it was left as it is", m_entry.string())};
    case Entry::ours:
    case Entry::ourDisabled:
        break;
    }
    std::error_code error;
    if (!std::filesystem::remove(m_entry, error) && error) {
        return files::posixError(error.value(), "could not remove", m_entry);
    }
    return std::nullopt;
}

}  // namespace moritane
