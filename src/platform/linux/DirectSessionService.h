#pragma once

#include "platform/linux/CameraExtensionDeployment.h"

#include <sys/types.h>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace moritane {

/// The camera extension's daemon in a session without a systemd user manager: started directly,
/// in a session of its own, and at the next login by an XDG autostart entry. It tells that it runs
/// as it would tell systemd, by "READY=1" on the socket named in NOTIFY_SOCKET, here one of ours.
class DirectSessionService final : public SessionService {
public:
    struct Paths {
        /// The program, by the path that stays the same across replacements.
        std::filesystem::path program;
        /// The daemon's single-instance lock, which holds its process id.
        std::filesystem::path lockFile;
        /// Where the daemon's output is appended.
        std::filesystem::path logFile;
        /// The autostart entry.
        std::filesystem::path autostartEntry;
    };

    /// Starts the program with `environment` ("NAME=value" each) and NOTIFY_SOCKET.
    DirectSessionService(Paths paths, std::vector<std::string> environment);

    /// For this user's session: the lock in the instance directory, the log in
    /// $XDG_STATE_HOME/moritane, the entry in the autostart directory, and this process's environment.
    static std::unique_ptr<DirectSessionService> forUser(std::filesystem::path program);

    /// Registered when the entry is ours, enabled and starts the program.
    [[nodiscard]] Result<bool> isRegistered() const override;
    [[nodiscard]] Result<bool> isRunning() const override;
    /// Writes the entry where there is none; an entry that the user has changed or turned off is
    /// left as it is, with an error that says so.
    [[nodiscard]] std::optional<Error> registerWithSession() override;
    /// Ends the holder of the lock with SIGTERM (SIGKILL if it lingers), then starts the program
    /// and waits for its "READY=1", its end, or the time limit.
    [[nodiscard]] std::optional<Error> restart() override;

    static constexpr std::chrono::seconds startTimeLimit{10};
    static constexpr std::chrono::seconds endTimeLimit{5};
    /// The key that marks the autostart entry as ours.
    static constexpr std::string_view ownerKey = "X-Moritane-CameraExtension";

private:
    [[nodiscard]] std::optional<Error> endRunning() const;
    [[nodiscard]] std::optional<Error> start() const;
    [[nodiscard]] std::optional<Error> waitUntilReady(int notify, pid_t child) const;

    Paths m_paths;
    std::vector<std::string> m_environment;
};

}  // namespace moritane
