#include "platform/qt/QtImageDecoder.h"

#include "testsupport/TemporaryDirectory.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QPainter>

#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <initializer_list>
#include <vector>

namespace moritane {
namespace {

using Bgra = std::array<int, 4>;
using moritane::testing::TemporaryDirectory;
using moritane::testing::writeFile;

std::string encode(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(100);
    EXPECT_TRUE(writer.write(image)) << format;
    return bytes.toStdString();
}

QImage filled(int width, int height, QRgb colour) {
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(QColor::fromRgba(colour));
    return image;
}

std::string fromBytes(std::initializer_list<int> bytes) {
    std::string out;
    for (const int byte : bytes) {
        out.push_back(static_cast<char>(byte));
    }
    return out;
}

std::string bigEndian32(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string pngChunk(const std::string& type, const std::string& data) {
    const std::string body = type + data;
    const auto crc = ::crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
    return bigEndian32(static_cast<std::uint32_t>(data.size())) + body + bigEndian32(static_cast<std::uint32_t>(crc));
}

/// An 8-bit grey PNG, black, or with no pixel data at all.
std::string greyPng(std::uint32_t width, std::uint32_t height, bool withPixels) {
    std::string png =
        "\x89PNG\r\n\x1a\n" + pngChunk("IHDR", bigEndian32(width) + bigEndian32(height) + fromBytes({8, 0, 0, 0, 0}));
    if (withPixels) {
        const std::string rows(static_cast<std::size_t>(width + 1) * height, '\0');
        uLongf length = ::compressBound(rows.size());
        std::string compressed(length, '\0');
        ::compress2(reinterpret_cast<Bytef*>(compressed.data()), &length, reinterpret_cast<const Bytef*>(rows.data()),
                    rows.size(), 1);
        compressed.resize(length);
        png += pngChunk("IDAT", compressed);
    }
    return png + pngChunk("IEND", "");
}

/// A JPEG with an Exif block whose only entry is the orientation.
std::string withOrientation(const std::string& jpeg, int orientation) {
    const std::string app1 =
        fromBytes({0xFF, 0xE1, 0,    34,   'E', 'x', 'i', 'f', 0, 0, 'I',         'I', 42, 0, 8, 0, 0, 0,
                   1,    0,    0x12, 0x01, 3,   0,   1,   0,   0, 0, orientation, 0,   0,  0, 0, 0, 0, 0});
    return jpeg.substr(0, 2) + app1 + jpeg.substr(2);
}

std::span<const std::uint8_t> bytesOf(const std::string& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

void expectNear(const Frame& frame, int x, int y, Bgra expected, int tolerance) {
    const auto actual = frame.pixel(x, y);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(actual.at(i), expected.at(i), tolerance) << "channel " << i << " at " << x << "," << y;
    }
}

/// Leaves a freed block of this size full of 0xAB, where the decoder's next allocation finds it.
void dirtyHeap(std::size_t bytes) {
    std::vector<unsigned char> block(bytes, 0xAB);
    __asm__ volatile("" : : "r"(block.data()) : "memory");
}

constexpr QRgb kColour = qRgb(200, 40, 90);
constexpr Bgra kColourBgra = {90, 40, 200, 255};
constexpr Bgra kRed = {0, 0, 255, 255};
constexpr Bgra kBlue = {255, 0, 0, 255};

TEST(QtImageDecoderTest, DecodesEachFormatFromItsContent) {
    // Two frames, 1 x 1: kColour, then blue.
    const std::string gif =
        "GIF89a" + fromBytes({1,    0, 1, 0, 0x80, 0, 0, 200,  40, 90, 0,    0,    255,  0x2C, 0,  0,   0, 0,
                              1,    0, 1, 0, 0,    2, 2, 0x44, 1,  0,  0x21, 0xF9, 4,    0,    10, 0,   0, 0,
                              0x2C, 0, 0, 0, 0,    1, 0, 1,    0,  0,  2,    2,    0x4C, 1,    0,  0x3B});
    const std::string bmp = encode(filled(6, 4, kColour), "bmp");
    const std::string halfTransparent = encode(filled(6, 4, qRgba(200, 40, 90, 128)), "png");
    struct Case {
        const char* name;
        std::string bytes;
        int width, height;
        Bgra pixel;
        int tolerance;
    };
    const std::vector<Case> cases{
        {"PNG", encode(filled(6, 4, kColour), "png"), 6, 4, kColourBgra, 0},
        {"PNG, half transparent, premultiplied", halfTransparent, 6, 4, {45, 20, 100, 128}, 1},
        {"JPEG", encode(filled(6, 4, kColour), "jpeg"), 6, 4, kColourBgra, 6},
        {"GIF, first frame", gif, 1, 1, kColourBgra, 0},
        {"BMP", bmp, 6, 4, kColourBgra, 0},
        {"BMP cut short, its missing top rows black", bmp.substr(0, bmp.size() - 36), 6, 4, {0, 0, 0, 255}, 0},
        {"WebP", encode(filled(6, 4, kColour), "webp"), 6, 4, kColourBgra, 6},
    };
    const TemporaryDirectory directory;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        writeFile(directory / "image", row.bytes);
        dirtyHeap(static_cast<std::size_t>(row.width) * row.height * 4);
        const auto frame = QtImageDecoder().decode(directory / "image");
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->width(), row.width);
        EXPECT_EQ(frame->height(), row.height);
        expectNear(*frame, 0, 0, row.pixel, row.tolerance);
    }
}

/// Red on the left half, blue on the right.
QImage redThenBlue(int width, int height) {
    QImage image = filled(width, height, qRgb(0, 0, 255));
    QPainter(&image).fillRect(0, 0, width / 2, height, Qt::red);
    return image;
}

TEST(QtImageDecoderTest, TurnsUprightByExifAndScalesDownToCoverASquareButNeverUp) {
    const std::string jpeg = encode(redThenBlue(320, 160), "jpeg");
    const std::string small = encode(redThenBlue(32, 16), "jpeg");
    struct Case {
        const char* name;
        std::string bytes;
        int side, width, height;
        Bgra topLeft, bottomRight;
    };
    const std::vector<Case> cases{
        {"JPEG", jpeg, 40, 80, 40, kRed, kBlue},
        {"JPEG turned a quarter clockwise", withOrientation(jpeg, 6), 40, 40, 80, kRed, kBlue},
        {"JPEG turned a quarter anticlockwise, as small as the square", withOrientation(small, 8), 16, 16, 32, kBlue,
         kRed},
        {"BMP, read into a cleared image first", encode(redThenBlue(120, 90), "bmp"), 30, 40, 30, kRed, kBlue},
        {"PNG narrower than the square", encode(redThenBlue(30, 200), "png"), 40, 30, 200, kRed, kBlue},
        {"PNG of a two-colour palette",
         encode(redThenBlue(100, 200).convertToFormat(QImage::Format_Mono, {qRgb(255, 0, 0), qRgb(0, 0, 255)}), "png"),
         40, 40, 80, kRed, kBlue},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto frame = QtImageDecoder::decodeBytesCovering(bytesOf(row.bytes), row.side);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->width(), row.width);
        EXPECT_EQ(frame->height(), row.height);
        expectNear(*frame, 2, 2, row.topLeft, 24);
        expectNear(*frame, row.width - 3, row.height - 3, row.bottomRight, 24);
    }
}

TEST(QtImageDecoderTest, GivesNoneForWhatIsNoWholeImageOfAllowedSize) {
    QImage noise(64, 64, QImage::Format_RGB32);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            noise.setPixel(x, y, qRgb(x * 37 % 256, y * 91 % 256, x * y % 256));
        }
    }
    const std::string png = encode(noise, "png");
    const std::string jpeg = encode(noise, "jpeg");
    const TemporaryDirectory directory;
    const auto file = [&](const char* name, const std::string& bytes) {
        writeFile(directory / name, bytes);
        return directory / name;
    };
    struct Case {
        const char* name;
        std::filesystem::path path;
    };
    const std::vector<Case> cases{
        {"no bytes", file("empty", "")},
        {"PNG cut short", file("png", png.substr(0, png.size() * 3 / 4))},
        {"JPEG cut short in its scan", file("jpeg", jpeg.substr(0, jpeg.size() * 3 / 4))},
        {"text", file("text", "no image at all\n")},
        {"PNG header of 20000 x 20000", file("wide", greyPng(20000, 20000, false))},
        {"PNG of more pixels than allowed, sides allowed", file("many", greyPng(7072, 7072, true))},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_FALSE(QtImageDecoder().decode(row.path));
        EXPECT_FALSE(QtImageDecoder().decodeCovering(row.path, 40));
    }
}

}  // namespace
}  // namespace moritane
