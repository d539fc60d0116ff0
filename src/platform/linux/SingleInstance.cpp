#include "platform/linux/SingleInstance.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <thread>

namespace moritane {

namespace {

Error systemError(std::string_view what, int code) {
    return {"NSPOSIXErrorDomain", code, fmt::format("{}: {}", what, std::generic_category().message(code))};
}

/// The socket's address; none when the path does not fit.
std::optional<sockaddr_un> address(const std::filesystem::path& path) {
    sockaddr_un result{};
    result.sun_family = AF_UNIX;
    const auto& text = path.native();
    if (text.size() >= sizeof result.sun_path) {
        return std::nullopt;
    }
    std::memcpy(static_cast<char*>(result.sun_path), text.c_str(), text.size() + 1);
    return result;
}

}  // namespace

SingleInstance::SingleInstance(std::filesystem::path directory, std::string_view name)
    : m_directory(std::move(directory)), m_name(name) {
    const auto lockPath = m_directory / (m_name + ".lock");
    m_lock = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_lock < 0) {
        m_lockError = systemError(fmt::format("cannot open {}", lockPath.string()), errno);
        return;
    }
    if (::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        const int code = errno;
        ::close(m_lock);
        m_lock = -1;
        if (code == EWOULDBLOCK) {
            m_anotherIsRunning = true;
        } else {
            m_lockError = systemError(fmt::format("cannot lock {}", lockPath.string()), code);
        }
        return;
    }
    // Whoever must end the holder reads its id here; the lock, not the id, says whether it runs.
    // Without it they say that they cannot end it, which is no reason for this one not to run.
    if (::ftruncate(m_lock, 0) == 0) {
        ::dprintf(m_lock, "%d\n", ::getpid());
    }
}

SingleInstance::~SingleInstance() {
    if (m_listener >= 0) {
        ::close(m_listener);
        std::error_code ignored;
        std::filesystem::remove(m_directory / (m_name + ".socket"), ignored);
    }
    if (m_lock >= 0) {
        ::close(m_lock);
    }
}

Result<int> SingleInstance::listen() {
    const auto path = m_directory / (m_name + ".socket");
    const auto where = address(path);
    if (!where) {
        return Error{"NSPOSIXErrorDomain", ENAMETOOLONG,
                     fmt::format("{}: the path is too long for a socket", path.string())};
    }
    // Only the lock's holder gets here, so a socket already there is a crashed holder's.
    ::unlink(path.c_str());
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (listener < 0) {
        return systemError("cannot make a socket", errno);
    }
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&*where), sizeof *where) != 0 ||
        ::listen(listener, 8) != 0) {
        const int code = errno;
        ::close(listener);
        return systemError(fmt::format("cannot listen on {}", path.string()), code);
    }
    m_listener = listener;
    return listener;
}

std::vector<std::string> SingleInstance::takeRequests() {
    std::vector<std::string> requests;
    for (int client = -1; (client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        // A later start writes its line at once; one that does not gets a fifth of a second in all.
        constexpr auto kPatience = std::chrono::milliseconds(200);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        std::string line;
        std::array<char, 256> buffer{};
        pollfd readable{client, POLLIN, 0};
        while (line.find('\n') == std::string::npos && line.size() < buffer.size()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
                break;
            }
            const auto length = ::read(client, buffer.data(), buffer.size() - line.size());
            if (length <= 0) {
                break;
            }
            line.append(buffer.data(), static_cast<std::size_t>(length));
        }
        ::close(client);
        if (auto request = line.substr(0, line.find('\n')); !request.empty()) {
            requests.push_back(std::move(request));
        }
    }
    return requests;
}

std::optional<Error> SingleInstance::send(std::string_view request, std::chrono::milliseconds timeout) const {
    const auto path = m_directory / (m_name + ".socket");
    const auto where = address(path);
    if (!where) {
        return Error{"NSPOSIXErrorDomain", ENAMETOOLONG,
                     fmt::format("{}: the path is too long for a socket", path.string())};
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (client < 0) {
            return systemError("cannot make a socket", errno);
        }
        if (::connect(client, reinterpret_cast<const sockaddr*>(&*where), sizeof *where) == 0) {
            const std::string line = std::string(request) + "\n";
            const bool written =
                ::send(client, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size());
            const int code = errno;
            ::close(client);
            return written ? std::nullopt : std::optional(systemError("cannot send the request", code));
        }
        const int code = errno;
        ::close(client);
        // The holder may have taken the lock and not be listening yet.
        if (std::chrono::steady_clock::now() >= deadline || (code != ENOENT && code != ECONNREFUSED)) {
            return systemError(fmt::format("cannot reach the running instance at {}", path.string()), code);
        }
        constexpr auto kRetry = std::chrono::milliseconds(50);
        std::this_thread::sleep_for(kRetry);
    }
}

}  // namespace moritane
