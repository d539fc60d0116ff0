#pragma once

#include "camera/AppGroupContainer.h"
#include "camera/CameraState.h"
#include "support/Error.h"

#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>

namespace moritane {

/// The directory the application shares with the camera extension, resolved at every use: the
/// group container when the system gives one, the fixed directory otherwise. The fixed directory
/// is made once, on the first use that needs it, and only then.
class SharedStore {
public:
    explicit SharedStore(const AppGroupContainer& container) : m_container(container) {}

    [[nodiscard]] std::optional<std::filesystem::path> appGroupContainerURL() const;
    [[nodiscard]] std::filesystem::path fallbackSharedDirectoryURL() const;
    [[nodiscard]] std::filesystem::path sharedDirectoryURL() const;
    [[nodiscard]] std::filesystem::path stateFileURL() const;
    [[nodiscard]] std::filesystem::path heartbeatFileURL() const;
    [[nodiscard]] std::filesystem::path imagesIndexURL() const;
    /// The images folder; made, if missing, at every read.
    [[nodiscard]] std::filesystem::path imagesDirectoryURL() const;

    /// Encodes `state` and replaces state.json atomically; the write is never skipped.
    [[nodiscard]] std::optional<Error> writeState(const Constants::CameraState& state) const;

    /// Makes the heartbeat file if it is missing and sets its modification time to `now`. A
    /// failure is dropped: the next refresh tries again.
    void refreshHeartbeat(std::chrono::system_clock::time_point now) const;

private:
    const AppGroupContainer& m_container;
    mutable std::once_flag m_fallbackMade;
};

}  // namespace moritane
