#pragma once

#include "frames/Frame.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace moritane {

/// Reads still images from files, as they are meant to be seen (upright, the first picture of an
/// animation).
class ImageDecoder {
public:
    /// The most pixels a decoded image may have: larger images are refused before they are
    /// decoded, so that a hostile file cannot take gigabytes.
    static constexpr std::int64_t kMaxPixels = 50'000'000;

    virtual ~ImageDecoder() = default;

    /// The image in the file, or none when the file cannot be read, is no image of a known kind,
    /// is damaged or is larger than kMaxPixels or Frame::kMaxSide. Any thread.
    [[nodiscard]] virtual std::optional<Frame> decode(const std::filesystem::path& file) const = 0;
};

}  // namespace moritane
