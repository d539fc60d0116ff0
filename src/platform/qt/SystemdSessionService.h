#pragma once

#include "platform/linux/CameraExtensionDeployment.h"
#include "support/Log.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string_view>

namespace moritane {

/// The camera extension's daemon as the systemd user service "moritane-camera.service", driven
/// through the user's service manager on the session bus. Every call opens a connection of its
/// own and blocks on it, so that it may run on any thread, one without a Qt event loop included;
/// a QCoreApplication must exist. The unit the package installs is used as it is; where the
/// manager knows none, the application's copy is written among the user's data, never over a
/// file of the user's configuration.
class SystemdSessionService final : public SessionService {
public:
    struct Paths {
        /// The unit text kept among the application's resources.
        std::filesystem::path unitTemplate;
        /// Where the unit goes when the manager knows none: $XDG_DATA_HOME/systemd/user.
        std::filesystem::path userUnitDirectory;
    };

    /// `busAddress` empty for the session bus. `timeLimit` bounds each answer of the manager and
    /// the wait for the start job's end; the unit's own start limit is systemd's.
    SystemdSessionService(Paths paths, QString busAddress, std::chrono::milliseconds timeLimit);

    /// With the unit directory of $XDG_DATA_HOME, or ~/.local/share, and the session bus.
    static std::unique_ptr<SystemdSessionService> forUser(std::filesystem::path unitTemplate);

    /// Registered when the unit is enabled, for good or until the next boot.
    [[nodiscard]] Result<bool> isRegistered() const override;
    [[nodiscard]] Result<bool> isRunning() const override;
    /// Writes the unit where the manager knows none, then enables it; a unit the user masked is
    /// left masked, with an error that says so.
    [[nodiscard]] std::optional<Error> registerWithSession() override;
    /// Has the manager restart the unit, which stops a running daemon first, and waits for the
    /// job's end: with Type=notify it ends once the daemon said READY=1.
    [[nodiscard]] std::optional<Error> restart() override;

    static constexpr std::string_view unitName = "moritane-camera.service";
    static constexpr std::chrono::seconds defaultTimeLimit{30};

private:
    [[nodiscard]] std::optional<Error> writeUnit() const;

    Paths m_paths;
    QString m_busAddress;
    std::chrono::milliseconds m_timeLimit;
};

/// The session service for this user's session: through systemd when its user manager owns its
/// name on the session bus, else the program started directly. Says in `log` which. Main thread.
std::unique_ptr<SessionService> makeSessionService(Log& log, std::filesystem::path program,
                                                   std::filesystem::path unitTemplate);

}  // namespace moritane
