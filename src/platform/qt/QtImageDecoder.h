#pragma once

#include "frames/ImageDecoder.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace moritane {

/// Still images through Qt's image readers (PNG, JPEG, GIF, BMP, WebP and whatever other plugins
/// are installed), told apart by their content. Needs no application object.
class QtImageDecoder final : public ImageDecoder {
public:
    /// Longest file read: far above any real photo, and bounds what a bad file can make us hold.
    static constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

    [[nodiscard]] std::optional<Frame> decode(const std::filesystem::path& file) const override;
    [[nodiscard]] std::optional<Frame> decodeCovering(const std::filesystem::path& file, int side) const override;

    /// The image in `bytes`, on the same terms as decode().
    [[nodiscard]] static std::optional<Frame> decodeBytes(std::span<const std::uint8_t> bytes);
    /// The image in `bytes`, on the same terms as decodeCovering().
    [[nodiscard]] static std::optional<Frame> decodeBytesCovering(std::span<const std::uint8_t> bytes, int side);
};

}  // namespace moritane
