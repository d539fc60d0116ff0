#include "platform/linux/DiskExtensionCopies.h"

#include "extension/SystemExtensionInstaller.h"
#include "platform/linux/LinuxPaths.h"
#include "support/Bundle.h"
#include "support/Files.h"
#include "support/Uuid.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <string>

namespace moritane {

namespace {

constexpr std::string_view kCurrent = "current";
constexpr std::string_view kLockName = ".lock";
/// Names that an install gives what it makes before it is complete; whatever bears them
/// outside an install was left by one that was cut short.
constexpr std::string_view kIncoming = ".incoming-";
constexpr std::string_view kNewLink = ".current-";

/// The root's lock, held for as long as it lives.
class RootLock {
public:
    static Result<std::unique_ptr<RootLock>> take(const std::filesystem::path& root) {
        std::error_code error;
        std::filesystem::create_directories(root, error);
        if (error) {
            return files::posixError(error.value(), "could not create", root);
        }
        const auto path = root / kLockName;
        const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (descriptor < 0) {
            return files::posixError(errno, "could not open", path);
        }
        // Blocks while another instance of the application installs: that takes moments.
        while (::flock(descriptor, LOCK_EX) != 0) {
            if (errno != EINTR) {
                const int code = errno;
                ::close(descriptor);
                return files::posixError(code, "could not lock", path);
            }
        }
        return std::unique_ptr<RootLock>(new RootLock(descriptor));
    }
    RootLock(const RootLock&) = delete;
    RootLock& operator=(const RootLock&) = delete;
    ~RootLock() { ::close(m_descriptor); }

private:
    explicit RootLock(int descriptor) : m_descriptor(descriptor) {}
    int m_descriptor;
};

std::string stringValue(const nlohmann::json& info, const char* key) {
    const auto found = info.find(key);
    return found != info.end() && found->is_string() ? found->get<std::string>() : std::string{};
}

ExtensionCopy readCopy(const std::filesystem::path& directory, bool isCurrent) {
    ExtensionCopy copy;
    copy.isCurrent = isCurrent;
    const auto bundle = Bundle::open(directory);
    if (const auto info = bundle ? bundle->infoDictionary() : std::nullopt) {
        copy.shortVersion = stringValue(*info, "CFBundleShortVersionString");
        copy.buildVersion = stringValue(*info, "CFBundleVersion");
        if (copy.shortVersion.empty() || copy.buildVersion.empty()) {
            copy.shortVersion.clear();
            copy.buildVersion.clear();
        }
    }
    const auto program = directory / DiskExtensionCopies::programName;
    struct stat status {};
    copy.isRunnable =
        ::stat(program.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(program.c_str(), X_OK) == 0;
    return copy;
}

/// Versions fit to name a directory: no separators, nothing hidden, nothing a shell would mangle.
bool isPlainName(std::string_view name) {
    return !name.empty() && name.front() != '.' && std::ranges::all_of(name, [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               (character >= '0' && character <= '9') ||
               std::string_view("._+~-").find(character) != std::string_view::npos;
    });
}

/// Makes the entries of `directory` survive a crash, as a rename into it must not be lost.
std::optional<Error> syncDirectory(const std::filesystem::path& directory) {
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return files::posixError(errno, "could not open", directory);
    }
    const int result = ::fsync(descriptor);
    const int code = errno;
    ::close(descriptor);
    return result == 0 ? std::nullopt : std::optional(files::posixError(code, "could not flush", directory));
}

}  // namespace

DiskExtensionCopies::DiskExtensionCopies(std::filesystem::path embeddedDirectory, std::filesystem::path installedRoot)
    : m_embedded(std::move(embeddedDirectory)), m_root(std::move(installedRoot)) {}

std::filesystem::path DiskExtensionCopies::userInstalledRoot() {
    // Not under XDG_DATA_HOME: the user's service manager, which runs the copy, may not share the
    // session's environment, and its unit names the copy by the home directory alone.
    return linuxpaths::homeDirectory() / ".local" / "share" / "moritane" / "SystemExtensions" /
           SystemExtensionInstaller::extensionIdentifier;
}

Result<ExtensionCopy> DiskExtensionCopies::embedded() const {
    if (!Bundle::open(m_embedded)) {
        return files::posixError(ENOENT, "no camera extension at", m_embedded);
    }
    auto copy = readCopy(m_embedded, false);
    if (copy.shortVersion.empty()) {
        return files::posixError(EINVAL, "no versions readable in", m_embedded / Bundle::infoFileName);
    }
    if (!copy.isRunnable) {
        return files::posixError(ENOEXEC, "no program to run at", m_embedded / programName);
    }
    return copy;
}

std::vector<ExtensionCopy> DiskExtensionCopies::installed() const {
    std::vector<std::filesystem::path> directories;
    std::error_code error;
    // Stepped with an error code: these run on a worker queue, where a throw would end the program.
    for (std::filesystem::directory_iterator entry(m_root, error), end; !error && entry != end;
         entry.increment(error)) {
        if (!entry->path().filename().string().starts_with('.') && entry->is_directory(error) &&
            !entry->is_symlink(error)) {
            directories.push_back(entry->path());
        }
    }
    std::ranges::sort(directories);
    const auto current = currentName();
    std::vector<ExtensionCopy> copies;
    copies.reserve(directories.size());
    for (const auto& directory : directories) {
        copies.push_back(readCopy(directory, directory.filename() == current));
    }
    return copies;
}

std::optional<Error> DiskExtensionCopies::install() {
    const auto lock = RootLock::take(m_root);
    if (!lock) {
        return lock.error();
    }
    const auto copy = embedded();
    if (!copy) {
        return copy.error();
    }
    const auto base = fmt::format("{}-{}", copy.value().shortVersion, copy.value().buildVersion);
    if (!isPlainName(base)) {
        return Error{"POSIX", EINVAL, fmt::format("the versions {} cannot name a directory", base)};
    }
    auto incoming = (m_root / fmt::format("{}XXXXXX", kIncoming)).string();
    if (::mkdtemp(incoming.data()) == nullptr) {
        return files::posixError(errno, "could not create a directory in", m_root);
    }
    const auto abandon = [&incoming](Error error) {
        std::error_code ignored;
        std::filesystem::remove_all(incoming, ignored);
        return error;
    };
    if (auto error = copyEmbedded(incoming)) {
        return abandon(std::move(*error));
    }
    const auto current = currentName();
    auto name = base;
    for (int suffix = 2; name == current; ++suffix) {
        name = fmt::format("{}-{}", base, suffix);
    }
    std::error_code error;
    std::filesystem::remove_all(m_root / name, error);
    if (error) {
        return abandon(files::posixError(error.value(), "could not replace", m_root / name));
    }
    if (::rename(incoming.c_str(), (m_root / name).c_str()) != 0) {
        return abandon(files::posixError(errno, "could not rename to", m_root / name));
    }
    if (auto failure = syncDirectory(m_root)) {
        return failure;
    }
    return makeCurrent(name);
}

std::optional<Error> DiskExtensionCopies::copyEmbedded(const std::filesystem::path& destination) const {
    std::error_code error;
    std::vector<std::filesystem::path> directories{destination};
    for (std::filesystem::recursive_directory_iterator entries(m_embedded, error), end; !error && entries != end;
         entries.increment(error)) {
        const auto target = destination / entries->path().lexically_relative(m_embedded);
        if (entries->is_directory(error) && !entries->is_symlink(error)) {
            if (!std::filesystem::create_directory(target, error)) {
                return files::posixError(error.value(), "could not create", target);
            }
            directories.push_back(target);
            continue;
        }
        if (auto failure = files::copyFile(entries->path(), target)) {
            return failure;
        }
        std::filesystem::permissions(target, entries->status(error).permissions(), error);
        if (error) {
            return files::posixError(error.value(), "could not set the permissions of", target);
        }
    }
    if (error) {
        return files::posixError(error.value(), "could not read", m_embedded);
    }
    for (const auto& directory : directories) {
        if (auto failure = syncDirectory(directory)) {
            return failure;
        }
    }
    return std::nullopt;
}

std::optional<Error> DiskExtensionCopies::makeCurrent(const std::string& name) const {
    // A link under another name renamed over the old one: "current" is never missing, not even
    // for a moment.
    const auto link = m_root / fmt::format("{}{}", kNewLink, Uuid::random().uuidString());
    if (::symlink(name.c_str(), link.c_str()) != 0) {
        return files::posixError(errno, "could not create", link);
    }
    if (::rename(link.c_str(), (m_root / kCurrent).c_str()) != 0) {
        const int code = errno;
        ::unlink(link.c_str());
        return files::posixError(code, "could not replace", m_root / kCurrent);
    }
    return syncDirectory(m_root);
}

void DiskExtensionCopies::removeStale() {
    const auto lock = RootLock::take(m_root);
    if (!lock) {
        return;
    }
    const auto current = currentName();
    std::error_code error;
    for (std::filesystem::directory_iterator entry(m_root, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto name = entry->path().filename().string();
        if (name != kCurrent && name != kLockName && name != current) {
            std::error_code ignored;
            std::filesystem::remove_all(entry->path(), ignored);
        }
    }
}

std::filesystem::path DiskExtensionCopies::currentProgram() const {
    return m_root / kCurrent / programName;
}

std::string DiskExtensionCopies::currentName() const {
    std::error_code error;
    const auto target = std::filesystem::read_symlink(m_root / kCurrent, error);
    return error ? std::string{} : target.filename().string();
}

}  // namespace moritane
