#pragma once

#include "support/Error.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

/// One running program per user. The first start holds a lock in a directory of the user's and
/// listens on a socket beside it; a later start finds the lock taken, hands its request to the
/// first through the socket and ends. The kernel lets go of the lock of a process that dies, so
/// a crash leaves nothing that stops the next start.
class SingleInstance {
public:
    /// Tries to take the lock `<name>.lock` in `directory` and writes the process id into it; the
    /// socket is `<name>.socket`.
    explicit SingleInstance(std::filesystem::path directory, std::string_view name = "moritane");
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;
    SingleInstance(SingleInstance&&) = delete;
    SingleInstance& operator=(SingleInstance&&) = delete;
    ~SingleInstance();

    /// Whether another process holds the lock. False also when the lock could not be taken for
    /// another reason: a program that cannot tell runs rather than refusing to.
    [[nodiscard]] bool anotherIsRunning() const { return m_anotherIsRunning; }
    /// Why the lock could not be taken when nobody else holds it.
    [[nodiscard]] const std::optional<Error>& lockError() const { return m_lockError; }

    /// For the holder: replaces a socket left by a crash and listens; the descriptor to watch for
    /// requests, or why there is none.
    Result<int> listen();
    /// For the holder: the requests waiting, one line each; does not wait for more.
    std::vector<std::string> takeRequests();

    /// For a later start: hands `request` to the holder, giving it up to `timeout` to listen.
    [[nodiscard]] std::optional<Error> send(std::string_view request, std::chrono::milliseconds timeout) const;

private:
    std::filesystem::path m_directory;
    std::string m_name;
    int m_lock = -1;
    int m_listener = -1;
    bool m_anotherIsRunning = false;
    std::optional<Error> m_lockError;
};

}  // namespace moritane
