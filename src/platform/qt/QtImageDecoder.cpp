#include "platform/qt/QtImageDecoder.h"

#include "support/Files.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageReader>

#include <bit>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

namespace moritane {
namespace {

// ARGB32 is a native-endian 32-bit word, which is B, G, R, A in memory only on little-endian.
static_assert(std::endian::native == std::endian::little);

// Readers may decode into up to 8 bytes a pixel (16 bits a channel) before we convert, so the
// limit lets the largest image we accept through at that depth and nothing much larger.
constexpr int kAllocationLimitMiB = static_cast<int>((ImageDecoder::kMaxPixels * 8 + (1 << 20) - 1) >> 20);

void setAllocationLimitOnce() {
    static std::once_flag once;
    std::call_once(once, [] { QImageReader::setAllocationLimit(kAllocationLimitMiB); });
}

// Above the reader's threshold for smooth scaling; it has no meaning beyond that here.
constexpr int kScalingQuality = 75;

bool withinLimits(QSize size) {
    return size.isValid() && !size.isEmpty() && size.width() <= Frame::kMaxSide && size.height() <= Frame::kMaxSide &&
           static_cast<std::int64_t>(size.width()) * size.height() <= ImageDecoder::kMaxPixels;
}

// libjpeg fills a scan cut short with grey and calls that a success; a whole stream reaches its
// end marker. Segments are skipped by their length, so an embedded thumbnail's end does not count.
bool jpegReachesEnd(std::span<const std::uint8_t> bytes) {
    std::size_t at = 2;
    while (at + 1 < bytes.size()) {
        const std::uint8_t marker = bytes[at + 1];
        if (bytes[at] != 0xFF || marker == 0xFF) {
            ++at;  // entropy-coded data or fill bytes
        } else if (marker == 0xD9) {
            return true;
        } else if (marker == 0x00 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            at += 2;  // stuffed byte, restart and other markers without a length
        } else if (at + 3 < bytes.size()) {
            at += 2 + (static_cast<std::size_t>(bytes[at + 2]) << 8 | bytes[at + 3]);
        } else {
            return false;
        }
    }
    return false;
}

std::span<const std::uint8_t> bytesOf(const std::string& content) {
    return {reinterpret_cast<const std::uint8_t*>(content.data()), content.size()};
}

/// The image in `bytes`, scaled down to cover `coveringSide` when there is one.
std::optional<Frame> read(std::span<const std::uint8_t> bytes, std::optional<int> coveringSide) {
    if (bytes.empty() || bytes.size() > QtImageDecoder::kMaxFileBytes) {
        return std::nullopt;
    }
    setAllocationLimitOnce();
    // The buffer only reads, so it may look at the caller's bytes without a copy.
    const QByteArray data =
        QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer;
    buffer.setData(data);
    if (!buffer.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    const QSize stored = reader.size();
    if (!withinLimits(stored) || (reader.format() == "jpeg" && !jpegReachesEnd(bytes))) {
        return std::nullopt;
    }
    // The reader scales before it turns the image upright, so the size is the stored one's; a
    // square is covered the same either way up.
    const auto covering = coveringSide ? ImageDecoder::coveringSize(stored.width(), stored.height(), *coveringSide)
                                       : ImageDecoder::Size{stored.width(), stored.height()};
    const bool scales = covering.width != stored.width();
    // JPEG decodes at a reduced size, which is the point; other readers would only scale after
    // decoding, and Qt's scaling of a two-colour palette image gives wrong colours.
    const bool readerScales = scales && reader.format() == "jpeg";
    if (readerScales) {
        reader.setScaledSize({covering.width, covering.height});
        // Smooth scaling from the nearest reduced decoding, not the nearest pixel.
        reader.setQuality(kScalingQuality);
    }
    QImage image;
    // Qt's BMP reader leaves the rows of a file cut short as the allocator gave them, but reads into
    // an image of the right size and format when handed one: hand it a cleared one.
    if (reader.format() == "bmp") {
        image = QImage(stored, reader.imageFormat());
        if (image.isNull()) {
            return std::nullopt;
        }
        image.fill(0);
    }
    if (!reader.read(&image) || !withinLimits(image.size())) {
        return std::nullopt;
    }
    // Premultiplied, since the fit draws the image onto black.
    image.convertTo(QImage::Format_ARGB32_Premultiplied);
    if (coveringSide && !readerScales) {
        // From what was decoded, which need not be the size the file announced (a GIF's screen
        // is not its picture), and upright by now.
        const auto fit = ImageDecoder::coveringSize(image.width(), image.height(), *coveringSide);
        if (fit.width != image.width() || fit.height != image.height()) {
            image = image.scaled(fit.width, fit.height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        }
    }
    if (image.isNull()) {
        return std::nullopt;
    }
    Canvas canvas(image.width(), image.height());
    const auto rowBytes = static_cast<std::size_t>(canvas.stride());
    for (int y = 0; y < image.height(); ++y) {
        std::memcpy(canvas.data() + static_cast<std::ptrdiff_t>(y) * canvas.stride(), image.constScanLine(y), rowBytes);
    }
    return std::move(canvas).finish();
}

}  // namespace

std::optional<Frame> QtImageDecoder::decode(const std::filesystem::path& file) const {
    const auto bytes = files::readFile(file, kMaxFileBytes);
    return bytes ? decodeBytes(bytesOf(bytes.value())) : std::nullopt;
}

std::optional<Frame> QtImageDecoder::decodeCovering(const std::filesystem::path& file, int side) const {
    const auto bytes = files::readFile(file, kMaxFileBytes);
    return bytes ? decodeBytesCovering(bytesOf(bytes.value()), side) : std::nullopt;
}

std::optional<Frame> QtImageDecoder::decodeBytes(std::span<const std::uint8_t> bytes) {
    return read(bytes, std::nullopt);
}

std::optional<Frame> QtImageDecoder::decodeBytesCovering(std::span<const std::uint8_t> bytes, int side) {
    return read(bytes, side);
}

}  // namespace moritane
