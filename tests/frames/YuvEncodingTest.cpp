#include "frames/YuvEncoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace moritane::pixels {
namespace {

using Bgra = std::array<std::uint8_t, 4>;
using Bytes = std::vector<std::uint8_t>;

Frame drawn(int width, int height, const std::function<Bgra(int, int)>& colourAt) {
    Canvas canvas(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Bgra c = colourAt(x, y);
            std::copy(c.begin(), c.end(), canvas.data() + (y * width + x) * 4);
        }
    }
    return std::move(canvas).finish();
}

/// The planes of each encoding, unpadded.
struct Encoded {
    Bytes yuy2, y, u, v, nv12y, nv12uv;
};

Encoded encode(const Frame& frame, YuvMatrix matrix, int width, int height) {
    const int cw = (width + 1) / 2;
    const int ch = (height + 1) / 2;
    Encoded e{Bytes(cw * 4 * height), Bytes(width * height), Bytes(cw * ch),
              Bytes(cw * ch),         Bytes(width * height), Bytes(cw * 2 * ch)};
    EXPECT_TRUE(toYuy2(frame, matrix, {e.yuy2, cw * 4}));
    EXPECT_TRUE(toI420(frame, matrix, {e.y, width}, {e.u, cw}, {e.v, cw}));
    EXPECT_TRUE(toNv12(frame, matrix, {e.nv12y, width}, {e.nv12uv, cw * 2}));
    return e;
}

struct ColourCase {
    std::string name;
    Bgra colour;
    YuvMatrix matrix;
    // Exact values of the standard, before rounding.
    double y, u, v;
};

TEST(YuvEncodingTest, EncodesKnownColoursInEveryFormat) {
    const std::vector<ColourCase> cases{
        {"black 709", {0, 0, 0, 255}, YuvMatrix::bt709, 16, 128, 128},
        {"black 601", {0, 0, 0, 255}, YuvMatrix::bt601, 16, 128, 128},
        {"white 709", {255, 255, 255, 255}, YuvMatrix::bt709, 235, 128, 128},
        {"white 601", {255, 255, 255, 255}, YuvMatrix::bt601, 235, 128, 128},
        {"red 709", {0, 0, 255, 255}, YuvMatrix::bt709, 62.56, 102.34, 240},
        {"red 601", {0, 0, 255, 255}, YuvMatrix::bt601, 81.48, 90.20, 240},
        {"green 709", {0, 255, 0, 255}, YuvMatrix::bt709, 172.63, 41.66, 26.27},
        {"green 601", {0, 255, 0, 255}, YuvMatrix::bt601, 144.55, 53.80, 34.21},
        {"blue 709", {255, 0, 0, 255}, YuvMatrix::bt709, 31.81, 240, 117.73},
        {"blue 601", {255, 0, 0, 255}, YuvMatrix::bt601, 40.97, 240, 109.79},
    };
    for (const auto& c : cases) {
        // Wide enough for the vector loops and their remainders.
        const int width = 38;
        const int height = 4;
        const Encoded e = encode(Frame::filled(width, height, c.colour), c.matrix, width, height);
        const auto expectAll = [&](const Bytes& bytes, std::size_t first, std::size_t step, double value,
                                   const char* what) {
            int wrong = 0;
            for (std::size_t i = first; i < bytes.size(); i += step) {
                wrong += std::abs(bytes[i] - value) > 1.0 ? 1 : 0;
            }
            EXPECT_EQ(wrong, 0) << c.name << ": " << what << ", first byte " << int{bytes[first]};
        };
        expectAll(e.yuy2, 0, 2, c.y, "YUY2 Y");
        expectAll(e.yuy2, 1, 4, c.u, "YUY2 U");
        expectAll(e.yuy2, 3, 4, c.v, "YUY2 V");
        expectAll(e.y, 0, 1, c.y, "I420 Y");
        expectAll(e.u, 0, 1, c.u, "I420 U");
        expectAll(e.v, 0, 1, c.v, "I420 V");
        expectAll(e.nv12y, 0, 1, c.y, "NV12 Y");
        expectAll(e.nv12uv, 0, 2, c.u, "NV12 U");
        expectAll(e.nv12uv, 1, 2, c.v, "NV12 V");
    }
}

TEST(YuvEncodingTest, OddSidesGiveTheLastColumnAndRowTheirOwnChroma) {
    // 3 x 3: white, but the last column red and the last row blue (its corner blue).
    const Frame frame = drawn(3, 3, [](int x, int y) {
        return y == 2 ? Bgra{255, 0, 0, 255} : x == 2 ? Bgra{0, 0, 255, 255} : Bgra{255, 255, 255, 255};
    });
    for (const YuvMatrix matrix : {YuvMatrix::bt601, YuvMatrix::bt709}) {
        const Encoded e = encode(frame, matrix, 3, 3);
        const std::string name = matrix == YuvMatrix::bt601 ? "601" : "709";
        // Blocks: top left white, top right red, bottom left and right blue.
        EXPECT_NEAR(e.u[0], 128, 1) << name;
        EXPECT_NEAR(e.v[0], 128, 1) << name;
        EXPECT_GT(e.v[1], 235) << name << ": red alone in its block";
        EXPECT_GT(e.u[2], 235) << name << ": blue alone in its block";
        EXPECT_GT(e.u[3], 235) << name << ": the corner is blue";
        EXPECT_EQ(e.nv12uv, (Bytes{e.u[0], e.v[0], e.u[1], e.v[1], e.u[2], e.v[2], e.u[3], e.v[3]})) << name;
        EXPECT_EQ(e.nv12y, e.y) << name;
        // YUY2's last pixel of each row makes a pair of its own.
        EXPECT_EQ(e.yuy2[4], e.y[2]) << name;
        EXPECT_EQ(e.yuy2[6], e.y[2]) << name;
        EXPECT_GT(e.yuy2[7], 235) << name << ": red V";
        EXPECT_GT(e.yuy2[8 * 2 + 5], 235) << name << ": blue U of the last pixel of the last row";
    }
}

TEST(YuvEncodingTest, RefusesPlanesTooShortAndWritesNothing) {
    const Frame frame = Frame::filled(4, 2, {0, 0, 0, 255});
    const Bytes untouched(16, 0xAA);
    for (const YuvMatrix m : {YuvMatrix::bt601, YuvMatrix::bt709}) {
        Bytes a = untouched;
        Bytes b = untouched;
        Bytes c = untouched;
        EXPECT_FALSE(toYuy2(frame, m, {std::span(a).first(15), 8})) << "YUY2 one byte short";
        EXPECT_FALSE(toYuy2(frame, m, {a, 7})) << "YUY2 stride shorter than a row";
        EXPECT_FALSE(toI420(frame, m, {a, 4}, {b, 2}, {std::span(c).first(1), 2})) << "I420 V one byte short";
        EXPECT_FALSE(toI420(frame, m, {a, 3}, {b, 2}, {c, 2})) << "I420 Y stride short";
        EXPECT_FALSE(toNv12(frame, m, {a, 4}, {})) << "NV12 without UV";
        EXPECT_FALSE(toNv12(frame, m, {std::span(a).first(4), 4}, {b, 4})) << "NV12 Y one row short";
        EXPECT_FALSE(toYuy2(Frame(), m, {a, 8})) << "empty frame";
        EXPECT_EQ(a, untouched);
        EXPECT_EQ(b, untouched);
        EXPECT_EQ(c, untouched);
    }
}

}  // namespace
}  // namespace moritane::pixels
