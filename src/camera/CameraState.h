#pragma once

#include "camera/Constants.h"
#include "support/Error.h"
#include "support/Uuid.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace moritane::Constants {

/// The record of state.json: what the virtual camera shows.
struct CameraState {
    CameraMode mode = CameraMode::off;
    /// The image to show; set only in image mode.
    std::optional<Uuid> selectedImageId;
    /// The physical camera to pass through; none means the system's default. Kept in every mode.
    std::optional<std::string> selectedCameraId;

    friend bool operator==(const CameraState&, const CameraState&) = default;
};

/// One compact JSON object, keys in field order, absent values left out. Fails only for text
/// that is not valid UTF-8.
Result<std::string> encode(const CameraState& state);

/// Reads a state: "mode" must be one of the three raw values; the two ids may be absent or null,
/// and otherwise must be a string, the image id a UUID in either case; other keys are ignored.
Result<CameraState> decodeCameraState(std::string_view bytes);

/// state.json holds a few dozen bytes; a larger file is not ours and is not read.
inline constexpr std::size_t maxStateFileBytes = 64UL * 1024UL;

}  // namespace moritane::Constants
