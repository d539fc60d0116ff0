#pragma once

#include "support/Error.h"

#include <unistd.h>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// File operations with the guarantees the shared directory relies on. All of them report
/// failures as values and may be called from any thread.
namespace moritane::files {

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

/// An Error in the "POSIX" domain for `code` (an errno value), naming what failed and where.
Error posixError(int code, std::string_view action, const std::filesystem::path& path);

/// The whole content of a regular file. Fails, without waiting, for a directory (EISDIR), for a
/// pipe, device or socket (EINVAL), for a file that cannot be opened or read, and for one longer
/// than `maxBytes`, which is then not read to its end.
Result<std::string> readFile(const std::filesystem::path& path, std::size_t maxBytes);

/// Replaces `path` in one step: the bytes go to a new file beside it, are flushed to disk and the
/// file is renamed over the target, so a reader sees the old content or the new, never a part.
/// The new file takes the default permissions. On failure the old file is left as it was.
std::optional<Error> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// Copies the bytes of the regular file at `source` (following links) to a new file at
/// `destination`, flushed to disk before it returns. Fails when the destination exists, and for
/// a source that is a directory, device or pipe; a failed copy leaves no destination behind.
std::optional<Error> copyFile(const std::filesystem::path& source, const std::filesystem::path& destination);

/// Removes the file (or empty directory) at `path`; false when nothing was removed.
bool removeItem(const std::filesystem::path& path);

/// The name a file that could not be read is kept under, beside it:
/// "<name>.unreadable-<UTC time>".
std::filesystem::path setAsidePath(const std::filesystem::path& path, std::chrono::system_clock::time_point when);

/// Renames whatever is at `path` to its set-aside name, adding "-2", "-3", ... rather than
/// replacing an earlier copy set aside in the same second. Returns the new path.
Result<std::filesystem::path> setAside(const std::filesystem::path& path, std::chrono::system_clock::time_point when);

/// Whether anything (a file, a directory, a link, ...) is at `path`.
bool exists(const std::filesystem::path& path);

/// Makes an empty regular file with default permissions where nothing is at `path`; fails when
/// anything is there, a link included, which is neither followed nor emptied.
bool createEmptyFile(const std::filesystem::path& path);

/// Sets the modification time of what is at `path` itself (a link, not what it points to),
/// leaving its access time alone.
bool setModificationTime(const std::filesystem::path& path, std::chrono::system_clock::time_point time);

/// The modification time of what is at `path` itself, or none when it cannot be read.
std::optional<std::chrono::system_clock::time_point> modificationTime(const std::filesystem::path& path);

/// How old a temporary file of `writeFileAtomically` must be to count as left by a process that
/// died mid-write: a write under way is far younger.
inline constexpr std::chrono::seconds staleTemporaryFileAge{10};

/// Removes the temporary files that `writeFileAtomically` left beside `target` when its process
/// died mid-write, if they were last modified before `olderThan` (younger ones may still be
/// written). Returns what it removed.
std::vector<std::filesystem::path> removeStaleTemporaryFiles(const std::filesystem::path& target,
                                                             std::chrono::system_clock::time_point olderThan);

/// Makes `path` and any missing parents with default permissions; true when it is a directory
/// afterwards.
bool createDirectories(const std::filesystem::path& path);

}  // namespace moritane::files
