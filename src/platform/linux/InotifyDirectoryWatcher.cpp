#include "platform/linux/InotifyDirectoryWatcher.h"

#include "camera/Constants.h"
#include "support/Files.h"

#include <sys/inotify.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstring>

namespace moritane {
namespace {

// Writes land as a close after writing or as a rename into place; the heartbeat's touches
// (attribute changes, once a second) are left out on purpose.
constexpr std::uint32_t kFileEvents = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kSelfEvents = IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

InotifyDirectoryWatcher::InotifyDirectoryWatcher() : m_fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

InotifyDirectoryWatcher::~InotifyDirectoryWatcher() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

std::optional<Error> InotifyDirectoryWatcher::watch(const std::filesystem::path& directory, Handler handler) {
    cancel();
    if (m_fd < 0) {
        return files::posixError(errno, "follow", directory);
    }
    const int watch = ::inotify_add_watch(m_fd, directory.c_str(), kFileEvents | kSelfEvents | IN_ONLYDIR);
    if (watch < 0) {
        return files::posixError(errno, "follow", directory);
    }
    m_directoryWatch = watch;
    m_directory = directory;
    m_handler = std::move(handler);
    watchImagesFolder();
    return std::nullopt;
}

void InotifyDirectoryWatcher::watchImagesFolder() {
    const int watch =
        ::inotify_add_watch(m_fd, (m_directory / Constants::imagesFolderName).c_str(), kFileEvents | IN_ONLYDIR);
    // A missing folder is followed from the moment it appears in the directory.
    m_imagesWatch = watch >= 0 ? watch : -1;
}

void InotifyDirectoryWatcher::cancel() {
    for (const int watch : {m_directoryWatch, m_imagesWatch}) {
        if (watch >= 0) {
            ::inotify_rm_watch(m_fd, watch);
        }
    }
    m_directoryWatch = -1;
    m_imagesWatch = -1;
    m_handler = nullptr;
}

void InotifyDirectoryWatcher::dispatch() {
    alignas(inotify_event) std::array<char, 16384> buffer{};
    while (m_fd >= 0) {
        const auto length = ::read(m_fd, buffer.data(), buffer.size());
        if (length <= 0) {
            return;
        }
        for (std::size_t offset = 0; offset < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + offset, sizeof event);
            const char* name = event.len > 0 ? buffer.data() + offset + sizeof event : "";
            handle(event.wd, event.mask, name);
            offset += sizeof event + event.len;
        }
    }
}

void InotifyDirectoryWatcher::handle(int watch, std::uint32_t mask, const char* name) {
    if (!m_handler) {
        return;
    }
    // The handler may end or replace this watch, so it is called on a copy.
    const auto handler = m_handler;
    if ((mask & IN_Q_OVERFLOW) != 0) {
        handler({Change::Place::unknown, {}});
        return;
    }
    if (watch == m_directoryWatch) {
        if ((mask & (kSelfEvents | IN_IGNORED)) != 0) {
            cancel();
            handler({Change::Place::directoryGone, {}});
            return;
        }
        if (name == Constants::imagesFolderName) {
            if (m_imagesWatch >= 0) {
                ::inotify_rm_watch(m_fd, m_imagesWatch);
                m_imagesWatch = -1;
            }
            if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
                watchImagesFolder();
            }
            // Whatever the folder held before or after is now other pictures.
            handler({Change::Place::imagesFolder, {}});
            return;
        }
        handler({Change::Place::directory, name});
    } else if (watch == m_imagesWatch && (mask & IN_IGNORED) == 0) {
        handler({Change::Place::imagesFolder, name});
    }
}

}  // namespace moritane
