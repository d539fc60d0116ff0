#include "platform/linux/XdgAutostartLoginItemService.h"

#include "platform/linux/DesktopEntry.h"
#include "platform/linux/LinuxPaths.h"
#include "support/Files.h"

#include <fmt/format.h>

#include <cerrno>

namespace moritane {

namespace {

constexpr std::size_t kMaxEntryBytes = std::size_t{64} * 1024;
constexpr std::string_view kDomain = "LoginItem";

}  // namespace

XdgAutostartLoginItemService::XdgAutostartLoginItemService(const std::filesystem::path& autostartDirectory,
                                                           std::filesystem::path program)
    : m_entry(autostartDirectory / "moritane.desktop"), m_program(std::move(program)) {}

std::filesystem::path XdgAutostartLoginItemService::userAutostartDirectory() {
    return linuxpaths::baseDirectory("XDG_CONFIG_HOME", ".config") / "autostart";
}

Result<std::string> XdgAutostartLoginItemService::entryFor(const std::filesystem::path& program) {
    const auto exec = desktopentry::execArgument(program.string());
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
    const auto keys = desktopentry::keys(content.value());
    if (!desktopentry::isTrue(keys, ownerKey)) {
        return Entry::somebodyElses;
    }
    // The desktop's own switches, which its settings set to turn an entry off without removing it.
    const bool disabled =
        desktopentry::isTrue(keys, "Hidden") || desktopentry::isFalse(keys, "X-GNOME-Autostart-enabled");
    // An entry left by a copy of the program installed elsewhere does not start this one.
    const auto exec = keys.find("Exec");
    const bool startsThisProgram = exec != keys.end() && exec->second == desktopentry::execArgument(m_program.string());
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
