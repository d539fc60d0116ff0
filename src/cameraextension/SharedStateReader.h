#pragma once

#include "camera/CameraState.h"
#include "library/SavedImage.h"
#include "support/Error.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// Reads the shared directory as the camera extension does. Nothing tells it that a file
/// changed and it writes nothing: each call reads the files anew.
class SharedStateReader {
public:
    using TimePoint = std::chrono::system_clock::time_point;

    /// What the virtual camera is to show now.
    struct Output {
        Constants::CameraMode mode = Constants::CameraMode::off;
        /// Camera mode: the physical camera; none means the system's default camera.
        std::optional<std::string> cameraId;
        /// Image mode: the file of the selected entry; none when the index does not name it.
        std::optional<std::filesystem::path> imageFile;
        /// Why the output is black against the state's wish, for the log; none when it is not.
        std::optional<std::string> problem;

        friend bool operator==(const Output&, const Output&) = default;
    };

    explicit SharedStateReader(std::filesystem::path sharedDirectory) : m_directory(std::move(sharedDirectory)) {}

    [[nodiscard]] Result<Constants::CameraState> state() const;
    [[nodiscard]] Result<std::vector<SavedImage>> images() const;

    /// The last moment the application was seen running: the heartbeat's modification time.
    [[nodiscard]] std::optional<TimePoint> heartbeat() const;

    /// How long ago the application was last seen running, as of `now`.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> heartbeatAge(TimePoint now) const;

    /// The output for the state on disk; a black frame (off) when the state cannot be read.
    [[nodiscard]] Output output() const;

private:
    /// Finds the file of image `id` through the index; why not, when it cannot.
    std::optional<std::string> imageFile(const std::optional<Uuid>& id,
                                         std::optional<std::filesystem::path>& file) const;

    std::filesystem::path m_directory;
};

}  // namespace moritane
