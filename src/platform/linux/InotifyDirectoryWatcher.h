#pragma once

#include "cameraextension/DirectoryWatcher.h"

#include <filesystem>
#include <optional>

namespace moritane {

/// Follows a directory through inotify. The owner watches fd() for reading on its main loop and
/// calls dispatch() when it is readable, so handlers run on the main thread.
class InotifyDirectoryWatcher final : public DirectoryWatcher {
public:
    InotifyDirectoryWatcher();
    InotifyDirectoryWatcher(const InotifyDirectoryWatcher&) = delete;
    InotifyDirectoryWatcher& operator=(const InotifyDirectoryWatcher&) = delete;
    InotifyDirectoryWatcher(InotifyDirectoryWatcher&&) = delete;
    InotifyDirectoryWatcher& operator=(InotifyDirectoryWatcher&&) = delete;
    ~InotifyDirectoryWatcher() override;

    std::optional<Error> watch(const std::filesystem::path& directory, Handler handler) override;
    void cancel() override;

    /// Readable when events wait; -1 when inotify could not be had.
    [[nodiscard]] int fd() const { return m_fd; }
    /// Reads the waiting events and hands each to the handler. Never blocks.
    void dispatch();

private:
    void watchImagesFolder();
    void handle(int watch, std::uint32_t mask, const char* name);

    int m_fd = -1;
    int m_directoryWatch = -1;
    int m_imagesWatch = -1;
    std::filesystem::path m_directory;
    Handler m_handler;
};

}  // namespace moritane
