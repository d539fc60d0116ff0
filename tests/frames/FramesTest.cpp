#include "frames/FrameFit.h"
#include "frames/PixelFormats.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace moritane {
namespace {

using Bgra = std::array<std::uint8_t, 4>;
constexpr Bgra kBlack{0, 0, 0, 255};
constexpr Bgra kTeal{160, 120, 20, 255};

/// Alpha exactly, colours within `tolerance` levels.
bool near(Bgra got, Bgra expected, int tolerance) {
    return got[3] == expected[3] && std::abs(got[0] - expected[0]) <= tolerance &&
           std::abs(got[1] - expected[1]) <= tolerance && std::abs(got[2] - expected[2]) <= tolerance;
}

struct FitCase {
    std::string name;
    int sourceWidth;
    int sourceHeight;
    // Where the image must land in the 320 x 180 frame; everything else is black.
    int x;
    int y;
    int width;
    int height;
};

TEST(FrameFitTest, PlacesTheWholeImageOnBlackToThePixel) {
    const std::vector<FitCase> cases{
        {"16:9 fills", 1280, 720, 0, 0, 320, 180},
        {"wider: bars above and below", 400, 100, 0, 50, 320, 80},
        {"narrower: bars at the sides", 90, 180, 115, 0, 90, 180},
        {"small is scaled up", 16, 9, 0, 0, 320, 180},
        {"one pixel becomes a square", 1, 1, 70, 0, 180, 180},
        {"rounded to the nearest row, the odd one below", 3, 1, 0, 36, 320, 107},
        {"a sliver keeps one row", 10000, 1, 0, 89, 320, 1},
        {"empty source", 0, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const Frame source = c.sourceWidth == 0 ? Frame() : Frame::filled(c.sourceWidth, c.sourceHeight, kTeal);
        const Frame fitted = fitIntoBlack(source, 320, 180);
        ASSERT_EQ(fitted.width(), 320) << c.name;
        ASSERT_EQ(fitted.height(), 180) << c.name;
        int wrong = 0;
        for (int y = 0; y < 180; ++y) {
            for (int x = 0; x < 320; ++x) {
                const bool inside = x >= c.x && x < c.x + c.width && y >= c.y && y < c.y + c.height;
                const bool right = inside ? near(fitted.pixel(x, y), kTeal, 2) : fitted.pixel(x, y) == kBlack;
                if (!right && wrong++ == 0) {
                    ADD_FAILURE() << c.name << ": first wrong pixel at " << x << ", " << y;
                }
            }
        }
        EXPECT_EQ(wrong, 0) << c.name;
    }
}

struct ConvertCase {
    std::string name;
    std::optional<Frame> frame;
    // Top left, top right, bottom left, bottom right; none when the bytes cannot hold the image.
    std::optional<std::array<Bgra, 4>> expected;
};

TEST(PixelFormatsTest, ConvertsKnownColoursAndRefusesShortBuffers) {
    using pixels::Plane;
    // BT.601 limited range: Y 235 white, 16 black, 126 mid grey; (81, 90, 240) red; (41, 240, 110) blue.
    const std::vector<std::uint8_t> yuyv{235, 128, 16, 128, 0, 0, 81, 90, 81, 240, 0, 0};
    const std::vector<std::uint8_t> greys{235, 16, 126, 126};
    const std::vector<std::uint8_t> reds{81, 81, 81, 81};
    const std::vector<std::uint8_t> blues{41, 41, 41, 41};
    const std::vector<std::uint8_t> neutral{128, 128};
    const std::vector<std::uint8_t> redChroma{90, 240};
    const std::vector<std::uint8_t> blueU{240};
    const std::vector<std::uint8_t> blueV{110};
    const std::vector<std::uint8_t> rgba{200, 100, 50, 128, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const std::vector<std::uint8_t> rgb{200, 100, 50, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    constexpr Bgra kWhite{255, 255, 255, 255};
    constexpr Bgra kGrey{128, 128, 128, 255};
    constexpr Bgra kRed{0, 0, 255, 255};
    constexpr Bgra kBlue{255, 0, 0, 255};
    const std::vector<ConvertCase> cases{
        {"YUYV with padded rows", pixels::fromYuyv({yuyv, 6}, 2, 2), std::array{kWhite, kBlack, kRed, kRed}},
        {"NV12 grey levels", pixels::fromNv12({greys, 2}, {neutral, 2}, 2, 2),
         std::array{kWhite, kBlack, kGrey, kGrey}},
        {"NV12 red", pixels::fromNv12({reds, 2}, {redChroma, 2}, 2, 2), std::array{kRed, kRed, kRed, kRed}},
        {"I420 blue", pixels::fromI420({blues, 2}, {blueU, 1}, {blueV, 1}, 2, 2),
         std::array{kBlue, kBlue, kBlue, kBlue}},
        {"RGBA", pixels::fromRgba({rgba, 8}, 2, 2),
         std::array{Bgra{50, 100, 200, 128}, Bgra{3, 2, 1, 4}, Bgra{7, 6, 5, 8}, Bgra{11, 10, 9, 12}}},
        {"RGB24", pixels::fromRgb24({rgb, 6}, 2, 2),
         std::array{Bgra{50, 100, 200, 255}, Bgra{3, 2, 1, 255}, Bgra{6, 5, 4, 255}, Bgra{9, 8, 7, 255}}},
        {"YUYV one byte short", pixels::fromYuyv({std::span(yuyv).first(9), 6}, 2, 2), std::nullopt},
        {"YUYV stride shorter than a row", pixels::fromYuyv({yuyv, 3}, 2, 2), std::nullopt},
        {"NV12 without chroma", pixels::fromNv12({greys, 2}, {}, 2, 2), std::nullopt},
        {"I420 without V", pixels::fromI420({blues, 2}, {blueU, 1}, {}, 2, 2), std::nullopt},
        {"RGBA taller than its bytes", pixels::fromRgba({rgba, 8}, 2, 3), std::nullopt},
        {"negative size", pixels::fromRgb24({rgb, 6}, 2, -2), std::nullopt},
    };
    for (const auto& c : cases) {
        const auto& frame = c.frame;
        ASSERT_EQ(frame.has_value(), c.expected.has_value()) << c.name;
        if (!frame) {
            continue;
        }
        ASSERT_EQ(frame->width(), 2) << c.name;
        ASSERT_EQ(frame->height(), 2) << c.name;
        for (int i = 0; i < 4; ++i) {
            EXPECT_TRUE(near(frame->pixel(i % 2, i / 2), (*c.expected)[i], 3)) << c.name << ": pixel " << i;
        }
    }
}

}  // namespace
}  // namespace moritane
