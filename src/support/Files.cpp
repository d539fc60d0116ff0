#include "support/Files.h"

#include "support/Uuid.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace moritane::files {

namespace {

constexpr mode_t kDefaultFileMode = 0666;  // narrowed by the process's umask

/// Closes a descriptor on every way out.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&&) = delete;
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] bool valid() const { return m_descriptor >= 0; }
    /// Closes now and reports the result, which for a written file can carry a late write error.
    int close() { return ::close(std::exchange(m_descriptor, -1)); }

private:
    int m_descriptor;
};

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

Result<TemporaryFile> createTemporaryBeside(const std::filesystem::path& target) {
    for (int attempt = 0; attempt < 16; ++attempt) {
        auto name = fmt::format(".{}.{}.tmp", target.filename().string(), Uuid::random().uuidString());
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
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.valid()) {
        return posixError(errno, "could not open", path);
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return posixError(errno, "could not examine", path);
    }
    if (S_ISDIR(status.st_mode)) {
        return posixError(EISDIR, "could not read", path);
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

bool exists(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool createEmptyFile(const std::filesystem::path& path) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kDefaultFileMode));
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
    return ::utimensat(AT_FDCWD, path.c_str(), times.data(), 0) == 0;
}

std::optional<std::chrono::system_clock::time_point> modificationTime(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    const auto sinceEpoch =
        std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceEpoch));
}

bool createDirectories(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::create_directories(path, ignored);
    return std::filesystem::is_directory(path, ignored);
}

}  // namespace moritane::files
