#pragma once

#include "support/Error.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

// What the Linux system-extension service drives to install, register and start the camera
// extension. Every operation may block (disk, D-Bus, an authentication dialog): the service calls
// them on worker queues, never on the main thread. What is installed and registered is asked while
// an activation may be changing it on another thread, so the queries must bear that. Their errors
// carry the system's own description; the service turns them into the installer's vocabulary.

/// One copy of the camera extension: a directory with its Info.json and its program.
struct ExtensionCopy {
    /// Empty when the copy's Info.json is missing or unreadable: a half-installed copy.
    std::string shortVersion;
    std::string buildVersion;
    /// The copy the session runs.
    bool isCurrent = false;
    /// Its program is there and may be run.
    bool isRunnable = false;

    friend bool operator==(const ExtensionCopy&, const ExtensionCopy&) = default;
};

/// The copies on disk: the one embedded in the application, read-only, and this user's
/// installed ones, of which one at most is current.
class ExtensionCopies {
public:
    virtual ~ExtensionCopies() = default;
    /// The embedded copy; an error when it is missing or has no readable versions or program.
    [[nodiscard]] virtual Result<ExtensionCopy> embedded() const = 0;
    [[nodiscard]] virtual std::vector<ExtensionCopy> installed() const = 0;
    /// Copies the embedded one beside the installed ones and makes it current in one atomic
    /// step; the previously current copy stays on disk until removeStale().
    [[nodiscard]] virtual std::optional<Error> install() = 0;
    /// Removes every installed copy but the current one; what cannot be removed stays.
    virtual void removeStale() = 0;
    /// The program of whichever copy is current, by a path that stays the same across replacements.
    [[nodiscard]] virtual std::filesystem::path currentProgram() const = 0;
};

/// Runs the current copy with the user's session: a systemd user service through the service
/// manager, or, where the session has none, the program started directly and an XDG autostart
/// entry for the next login.
class SessionService {
public:
    virtual ~SessionService() = default;
    /// Whether it is set to start with the session; an error when the manager cannot be asked.
    [[nodiscard]] virtual Result<bool> isRegistered() const = 0;
    /// Whether the daemon runs now (or is starting); an error when the manager cannot be asked.
    [[nodiscard]] virtual Result<bool> isRunning() const = 0;
    /// Sets it to start with the session; changes nothing the user has written.
    [[nodiscard]] virtual std::optional<Error> registerWithSession() = 0;
    /// Ends a running daemon, if any, and starts the current copy; returns once it reports that
    /// it runs, or with an error when it did not start. Never two daemons at once.
    [[nodiscard]] virtual std::optional<Error> restart() = 0;
};

/// The v4l2loopback kernel module, which makes the camera visible to programs that read
/// /dev/video* rather than PipeWire.
class LoopbackModule {
public:
    enum class State { notInstalled, notLoaded, loaded };
    enum class LoadOutcome { loaded, dismissed, refusedByPolicy, failed };
    struct LoadResult {
        LoadOutcome outcome = LoadOutcome::failed;
        /// What the system said, for the log and the failure's description.
        std::string description;
    };

    virtual ~LoopbackModule() = default;
    [[nodiscard]] virtual State state() const = 0;
    /// Loads it with the options that make browsers list one device labelled "Moritane", asking
    /// the administrator through polkit; blocks while the authentication dialog waits.
    [[nodiscard]] virtual LoadResult load() = 0;
    /// Ends a load under way, as when the application quits; that load then counts as dismissed.
    /// Any thread.
    virtual void cancel() = 0;
};

}  // namespace moritane
