#pragma once

#include "frames/ImageDecoder.h"
#include "support/Files.h"

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

    [[nodiscard]] int reads() const { return m_reads; }

private:
    std::map<std::string, Frame> m_images;
    mutable int m_reads = 0;
};

}  // namespace moritane
