#pragma once

#include "support/Log.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#if __has_include(<QImage>)
#include "library/SavedImage.h"
#include "support/Uuid.h"

#include <QImage>
#include <QLinearGradient>
#include <QPainter>

#include <fmt/format.h>

#include <vector>
#endif

namespace moritane::bench {

/// Log lines cost nothing here: the benchmarks measure the work, not the logging.
class DiscardingLog final : public Log {
public:
    void write(std::string_view /*line*/) override {}
    void unified(std::string_view /*subsystem*/, std::string_view /*category*/, LogLevel /*level*/,
                 std::string_view /*message*/) override {}
};

/// A directory of its own for one benchmark, removed at its end.
class Scratch {
public:
    Scratch() {
        std::array<char, 64> pattern{};
        std::snprintf(pattern.data(), pattern.size(), "%s", "/tmp/moritane-bench-XXXXXX");
        path = ::mkdtemp(pattern.data());
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    Scratch(Scratch&&) = delete;
    Scratch& operator=(Scratch&&) = delete;
    ~Scratch() { std::filesystem::remove_all(path); }

    std::filesystem::path path;
};

#if __has_include(<QImage>)
/// A library of `photos` entries in `imagesDirectory`, each a copy of one 4000 x 3000 JPEG (12
/// megapixels) named "photo-<n>.jpg".
inline std::vector<SavedImage> writePhotos(const std::filesystem::path& imagesDirectory, int photos) {
    std::vector<SavedImage> library;
    if (photos <= 0) {
        return library;
    }
    QImage photo(4000, 3000, QImage::Format_RGB32);
    QPainter painter(&photo);
    QLinearGradient gradient(0, 0, 4000, 3000);
    gradient.setColorAt(0, Qt::darkBlue);
    gradient.setColorAt(1, Qt::yellow);
    painter.fillRect(photo.rect(), gradient);
    painter.end();
    const auto first = imagesDirectory / "photo-0.jpg";
    photo.save(QString::fromStdString(first.string()), "JPEG", 90);
    for (int i = 0; i < photos; ++i) {
        const auto name = fmt::format("photo-{}.jpg", i);
        if (i > 0) {
            std::filesystem::copy_file(first, imagesDirectory / name);
        }
        library.push_back({Uuid::random(), fmt::format("Photo {}", i), name});
    }
    return library;
}
#endif

}  // namespace moritane::bench
