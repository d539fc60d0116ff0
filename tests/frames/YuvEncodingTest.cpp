#include "frames/YuvEncoding.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace moritane::pixels {
namespace {

using Bgra = std::array<std::uint8_t, 4>;
using Bytes = std::vector<std::uint8_t>;

/// The planes of each encoding, unpadded.
struct Encoded {
    Bytes yuy2, y, u, v, nv12y, nv12uv;
};

Encoded encode(const Frame& frame, YuvMatrix matrix, int width, int height) {
    const int cw = (width + 1) / 2;
    const int ch = (height + 1) / 2;
    const auto bytes = [](int a, int b) { return Bytes(static_cast<std::size_t>(a) * static_cast<std::size_t>(b)); };
    Encoded e{bytes(cw * 4, height), bytes(width, height), bytes(cw, ch),
              bytes(cw, ch),         bytes(width, height), bytes(cw * 2, ch)};
    EXPECT_TRUE(toYuy2(frame, matrix, {e.yuy2, cw * 4}));
    EXPECT_TRUE(toI420(frame, matrix, {e.y, width}, {e.u, cw}, {e.v, cw}));
    EXPECT_TRUE(toNv12(frame, matrix, {e.nv12y, width}, {e.nv12uv, cw * 2}));
    return e;
}

/// How many of the bytes first, first + step, ... of `plane` are more than a level from `value`.
int offByMore(const Bytes& plane, std::size_t first, std::size_t step, double value) {
    int wrong = 0;
    for (std::size_t i = first; i < plane.size(); i += step) {
        wrong += std::abs(plane[i] - value) > 1.0 ? 1 : 0;
    }
    return wrong;
}

TEST(YuvEncodingTest, EncodesKnownColoursInEveryFormat) {
    // Name, colour, then the exact values of BT.709 and of BT.601 before rounding. White pins green.
    using Case = std::tuple<std::string, Bgra, std::array<double, 3>, std::array<double, 3>>;
    const std::vector<Case> cases{
        {"black", {0, 0, 0, 255}, {16, 128, 128}, {16, 128, 128}},
        {"white", {255, 255, 255, 255}, {235, 128, 128}, {235, 128, 128}},
        {"red", {0, 0, 255, 255}, {62.56, 102.34, 240}, {81.48, 90.20, 240}},
        {"blue", {255, 0, 0, 255}, {31.81, 240, 117.73}, {40.97, 240, 109.79}},
    };
    for (const auto& [name, colour, bt709, bt601] : cases) {
        for (const YuvMatrix matrix : {YuvMatrix::bt709, YuvMatrix::bt601}) {
            const auto [y, u, v] = matrix == YuvMatrix::bt709 ? bt709 : bt601;
            // 38 wide: enough for the vector loops and their remainders.
            const Encoded e = encode(Frame::filled(38, 4, colour), matrix, 38, 4);
            const std::array wrong{
                offByMore(e.yuy2, 0, 2, y),  offByMore(e.yuy2, 1, 4, u),   offByMore(e.yuy2, 3, 4, v),
                offByMore(e.y, 0, 1, y),     offByMore(e.u, 0, 1, u),      offByMore(e.v, 0, 1, v),
                offByMore(e.nv12y, 0, 1, y), offByMore(e.nv12uv, 0, 2, u), offByMore(e.nv12uv, 1, 2, v)};
            EXPECT_EQ(wrong, (std::array{0, 0, 0, 0, 0, 0, 0, 0, 0}))
                << name << (matrix == YuvMatrix::bt709 ? " 709" : " 601") << ": YUY2, I420, NV12: Y U V";
        }
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
        EXPECT_FALSE(toNv12(frame, m, {a, 4}, {})) << "NV12 without UV";
        EXPECT_FALSE(toNv12(frame, m, {std::span(a).first(4), 4}, {b, 4})) << "NV12 Y one row short";
        EXPECT_FALSE(toYuy2(Frame(), m, {a, 8})) << "empty frame";
        EXPECT_EQ((std::array{a, b, c}), (std::array{untouched, untouched, untouched}));
    }
}

}  // namespace
}  // namespace moritane::pixels
