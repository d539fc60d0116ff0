#include "support/Files.h"

#include "support/Uuid.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/std.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <system_error>
#include <utility>

namespace moritane::files {

namespace {

constexpr mode_t kDefaultFileMode = 0666;  // narrowed by the process's umask

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

struct TemporaryFile {
    std::filesystem::path path;
    int descriptor;
};

/// The errno value that refuses anything but a regular file: EISDIR for a directory, EINVAL for
/// a pipe, device or socket; 0 for a regular file.
int notARegularFile(const struct stat& status) {
    if (S_ISREG(status.st_mode)) {
        return 0;
    }
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

std::string temporaryName(const std::filesystem::path& target, std::string_view unique) {
    return fmt::format(".{}.{}.tmp", target.filename().string(), unique);
}

Result<TemporaryFile> createTemporaryBeside(const std::filesystem::path& target) {
    for (int attempt = 0; attempt < 16; ++attempt) {
        auto name = temporaryName(target, Uuid::random().uuidString());
        auto path = target.parent_path() / name;
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kDefaultFileMode);
        if (descriptor >= 0) {
            return TemporaryFile{std::move(path), descriptor};
        }
        if (errno != EEXIST) {
            return posixError(errno, "could not create a temporary file for", target);
        }
    }
    return posixError(EEXIST, "could not create a temporary file for", target);
}

}  // namespace

Error posixError(int code, std::string_view action, const std::filesystem::path& path) {
    return Error{"POSIX", code,
                 fmt::format("{} \"{}\": {}", action, path.string(), std::generic_category().message(code))};
}

Result<std::string> readFile(const std::filesystem::path& path, std::size_t maxBytes) {
    // A pipe or a device put where a file belongs must not block the program or be read: look
    // before opening, open without waiting, and look again at what was opened.
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return posixError(errno, "could not open", path);
    }
    if (const int refusal = notARegularFile(status)) {
        return posixError(refusal, "could not read", path);
    }
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.valid()) {
        return posixError(errno, "could not open", path);
    }
    if (::fstat(file.get(), &status) != 0) {
        return posixError(errno, "could not examine", path);
    }
    if (const int refusal = notARegularFile(status)) {
        return posixError(refusal, "could not read", path);
    }
    std::string content;
    std::array<char, 16384> buffer{};
    while (true) {
        const auto count = ::read(file.get(), buffer.data(), buffer.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return posixError(errno, "could not read", path);
        }
        if (count == 0) {
            return content;
        }
        if (content.size() + static_cast<std::size_t>(count) > maxBytes) {
            return posixError(EFBIG, "refusing to read", path);
        }
        content.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

std::optional<Error> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    auto temporary = createTemporaryBeside(path);
    if (!temporary) {
        return temporary.error();
    }
    const auto& temporaryPath = temporary.value().path;
    FileDescriptor file(temporary.value().descriptor);
    const auto fail = [&](int code, std::string_view action) {
        ::unlink(temporaryPath.c_str());
        return posixError(code, action, path);
    };
    if (!writeAll(file.get(), bytes)) {
        return fail(errno, "could not write");
    }
    if (::fsync(file.get()) != 0) {
        return fail(errno, "could not flush");
    }
    if (file.close() != 0) {
        return fail(errno, "could not write");
    }
    if (::rename(temporaryPath.c_str(), path.c_str()) != 0) {
        return fail(errno, "could not replace");
    }
    return std::nullopt;
}

namespace {

/// Copies what is left of `source` into `destination` with the kernel's help when it can.
bool copyContent(int source, int destination) {
    constexpr std::size_t kChunk = 1UL << 30U;
    while (true) {
        const auto copied = ::copy_file_range(source, nullptr, destination, nullptr, kChunk, 0);
        if (copied == 0) {
            return true;
        }
        if (copied > 0) {
            continue;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP) {
            return false;
        }
        break;  // this pair of files cannot use it: copy through a buffer from where it stopped
    }
    std::array<char, 128UL * 1024UL> buffer{};
    while (true) {
        const auto count = ::read(source, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0;
        }
        if (!writeAll(destination, std::string_view(buffer.data(), static_cast<std::size_t>(count)))) {
            return false;
        }
    }
}

}  // namespace

std::optional<Error> copyFile(const std::filesystem::path& source, const std::filesystem::path& destination) {
    // Not blocking, so that a named pipe is turned away instead of waiting for a writer.
    FileDescriptor input(::open(source.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!input.valid()) {
        return posixError(errno, "could not open", source);
    }
    struct stat status {};
    if (::fstat(input.get(), &status) != 0) {
        return posixError(errno, "could not examine", source);
    }
    if (const int refusal = notARegularFile(status)) {
        return Error{"POSIX", refusal, fmt::format("could not copy \"{}\": it is not a regular file", source.string())};
    }
    FileDescriptor output(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kDefaultFileMode));
    if (!output.valid()) {
        return posixError(errno, "could not create", destination);
    }
    const auto fail = [&](int code, std::string_view action) {
        ::unlink(destination.c_str());
        return posixError(code, action, destination);
    };
    if (!copyContent(input.get(), output.get())) {
        return fail(errno, "could not copy to");
    }
    if (::fsync(output.get()) != 0) {
        return fail(errno, "could not flush");
    }
    if (output.close() != 0) {
        return fail(errno, "could not write");
    }
    return std::nullopt;
}

bool removeItem(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::remove(path, error);
}

std::filesystem::path setAsidePath(const std::filesystem::path& path, std::chrono::system_clock::time_point when) {
    const auto seconds = std::chrono::system_clock::to_time_t(when);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    return path.parent_path() / fmt::format("{}.unreadable-{:%Y%m%dT%H%M%SZ}", path.filename().string(), utc);
}

Result<std::filesystem::path> setAside(const std::filesystem::path& path, std::chrono::system_clock::time_point when) {
    const auto base = setAsidePath(path, when);
    constexpr int kMaxCopies = 1000;
    for (int copy = 1; copy <= kMaxCopies; ++copy) {
        auto candidate = copy == 1 ? base : std::filesystem::path(base.string() + "-" + std::to_string(copy));
#ifdef RENAME_NOREPLACE
        if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, candidate.c_str(), RENAME_NOREPLACE) == 0) {
            return candidate;
        }
        if (errno == EEXIST) {
            continue;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            return posixError(errno, "could not set aside", path);
        }
        // The file system cannot refuse to replace: look first, then rename.
#endif
        if (files::exists(candidate)) {
            continue;
        }
        if (std::rename(path.c_str(), candidate.c_str()) == 0) {
            return candidate;
        }
        return posixError(errno, "could not set aside", path);
    }
    return posixError(EEXIST, "could not set aside", path);
}

bool exists(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool createEmptyFile(const std::filesystem::path& path) {
    // Exclusive creation never follows a link planted at `path` and never empties a file.
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kDefaultFileMode));
    return file.valid() && file.close() == 0;
}

bool setModificationTime(const std::filesystem::path& path, std::chrono::system_clock::time_point time) {
    const auto sinceEpoch = time.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch - seconds);
    const std::array<timespec, 2> times{{
        {0, UTIME_OMIT},
        {static_cast<time_t>(seconds.count()), static_cast<long>(nanoseconds.count())},
    }};
    return ::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<std::chrono::system_clock::time_point> modificationTime(const std::filesystem::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    const auto sinceEpoch =
        std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceEpoch));
}

std::vector<std::filesystem::path> removeStaleTemporaryFiles(const std::filesystem::path& target,
                                                             std::chrono::system_clock::time_point olderThan) {
    constexpr std::size_t kUuidLength = 36;
    constexpr std::string_view kSuffix = ".tmp";
    const auto prefix = temporaryName(target, "");
    const auto stem = prefix.substr(0, prefix.size() - kSuffix.size());
    std::vector<std::filesystem::path> removed;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(target.parent_path(), error)) {
        const auto name = entry.path().filename().string();
        // Only names this program makes: the target's name, a UUID and ".tmp".
        if (name.size() != stem.size() + kUuidLength + kSuffix.size() || !name.starts_with(stem) ||
            !name.ends_with(kSuffix) || !Uuid::fromString(std::string_view(name).substr(stem.size(), kUuidLength))) {
            continue;
        }
        struct stat status {};
        const auto modified = modificationTime(entry.path());
        if (::lstat(entry.path().c_str(), &status) != 0 || !S_ISREG(status.st_mode) || !modified ||
            *modified >= olderThan) {
            continue;  // still being written, or not a file of ours
        }
        if (::unlink(entry.path().c_str()) == 0) {
            removed.push_back(entry.path());
        }
    }
    return removed;
}

bool createDirectories(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::create_directories(path, ignored);
    return std::filesystem::is_directory(path, ignored);
}

}  // namespace moritane::files
