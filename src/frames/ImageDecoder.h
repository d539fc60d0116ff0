#pragma once

#include "frames/Frame.h"

#include <algorithm>
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

    /// The image in the file as decode() gives it, but scaled down, its proportions kept, to the
    /// size coveringSize() names: the smallest that still covers a square of `side` x `side`, so
    /// that a thumbnail of that square can be cut from it. Never scaled up. For pictures shown
    /// small: readers that can (JPEG) decode at the reduced size, which costs a fraction of the
    /// whole. Refuses all that decode() refuses, judged by the image's full size. Any thread.
    [[nodiscard]] virtual std::optional<Frame> decodeCovering(const std::filesystem::path& file, int side) const = 0;

    struct Size {
        int width = 0;
        int height = 0;

        friend bool operator==(const Size&, const Size&) = default;
    };

    /// The size that decodeCovering() gives an upright image of `width` x `height`: the shorter
    /// side becomes `side` (at least 1) and the longer one keeps the proportion, rounded to the
    /// nearest; the size as it is when either side is `side` or less.
    [[nodiscard]] static constexpr Size coveringSize(int width, int height, int side) {
        side = std::max(side, 1);
        if (width <= side || height <= side) {
            return {width, height};
        }
        const auto longer = [side](std::int64_t longSide, std::int64_t shortSide) {
            return static_cast<int>((longSide * side + shortSide / 2) / shortSide);
        };
        return width < height ? Size{side, longer(height, width)} : Size{longer(width, height), side};
    }
};

}  // namespace moritane
