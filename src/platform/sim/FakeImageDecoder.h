#pragma once

#include "frames/ImageDecoder.h"
#include "support/Files.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>

namespace moritane {

/// Decodes files whose whole content is a name the test gave an image; anything else, and a
/// missing file, decodes to nothing. Counts the files it read.
class FakeImageDecoder final : public ImageDecoder {
public:
    void define(const std::string& content, Frame image) { m_images.insert_or_assign(content, std::move(image)); }

    [[nodiscard]] std::optional<Frame> decode(const std::filesystem::path& file) const override {
        ++m_reads;
        const auto content = files::readFile(file, 4096);
        if (!content) {
            return std::nullopt;
        }
        const auto image = m_images.find(content.value());
        return image == m_images.end() ? std::nullopt : std::optional(image->second);
    }

    /// Scaled by nearest pixel: the test images are plain.
    [[nodiscard]] std::optional<Frame> decodeCovering(const std::filesystem::path& file, int side) const override {
        auto image = decode(file);
        if (!image) {
            return image;
        }
        const auto size = coveringSize(image->width(), image->height(), side);
        if (size.width == image->width()) {
            return image;
        }
        Canvas canvas(size.width, size.height);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const auto pixel = image->pixel(x * image->width() / size.width, y * image->height() / size.height);
                std::copy(pixel.begin(), pixel.end(),
                          canvas.data() + static_cast<std::ptrdiff_t>(y) * canvas.stride() +
                              static_cast<std::ptrdiff_t>(4) * x);
            }
        }
        return std::move(canvas).finish();
    }

    [[nodiscard]] int reads() const { return m_reads; }

private:
    std::map<std::string, Frame> m_images;
    mutable int m_reads = 0;
};

}  // namespace moritane
