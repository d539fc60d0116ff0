#include "frames/YuvEncoding.h"

#include "frames/PlaneBounds.h"

#include <libyuv/convert_from_argb.h>

#include <cstddef>
#include <cstdint>

namespace moritane::pixels {
namespace {

// BT.709 limited range in 8.8 fixed point, as libyuv does BT.601: within one level of the exact
// values. Each chroma row sums to zero, so greys stay exactly at 128. The offsets carry the
// rounding half.
constexpr int kYr = 47;
constexpr int kYg = 157;
constexpr int kYb = 16;
constexpr int kYOffset = (16 << 8) + 128;
constexpr int kUr = -26;
constexpr int kUg = -86;
constexpr int kUb = 112;
constexpr int kVr = 112;
constexpr int kVg = -102;
constexpr int kVb = -10;
constexpr int kUvOffset = (128 << 8) + 128;

std::uint8_t luma(int b, int g, int r) {
    return static_cast<std::uint8_t>((kYr * r + kYg * g + kYb * b + kYOffset) >> 8);
}

std::uint8_t blueDifference(int b, int g, int r) {
    return static_cast<std::uint8_t>((kUr * r + kUg * g + kUb * b + kUvOffset) >> 8);
}

std::uint8_t redDifference(int b, int g, int r) {
    return static_cast<std::uint8_t>((kVr * r + kVg * g + kVb * b + kUvOffset) >> 8);
}

// The loops below take restrict pointers and no branches inside, so that the compiler turns them
// into vector code.

void lumaRow(const std::uint8_t* __restrict bgra, std::uint8_t* __restrict y, int width) {
    for (int x = 0; x < width; ++x) {
        const std::uint8_t* p = bgra + static_cast<std::ptrdiff_t>(x) * 4;
        y[x] = luma(p[0], p[1], p[2]);
    }
}

/// The rounded average of one channel over the 2 x 2 block of pixels that starts at `t` and `w`.
int blockAverage(const std::uint8_t* t, const std::uint8_t* w) {
    return (t[0] + t[4] + w[0] + w[4] + 2) >> 2;
}

/// Chroma of one row of 2 x 2 blocks into separate planes. The last column of an odd width is
/// left to chromaOfLastColumn().
void chromaRow(const std::uint8_t* __restrict top, const std::uint8_t* __restrict bottom, std::uint8_t* __restrict u,
               std::uint8_t* __restrict v, int pairs) {
    for (int i = 0; i < pairs; ++i) {
        const std::uint8_t* t = top + static_cast<std::ptrdiff_t>(i) * 8;
        const std::uint8_t* w = bottom + static_cast<std::ptrdiff_t>(i) * 8;
        const int b = blockAverage(t, w);
        const int g = blockAverage(t + 1, w + 1);
        const int r = blockAverage(t + 2, w + 2);
        u[i] = blueDifference(b, g, r);
        v[i] = redDifference(b, g, r);
    }
}

/// As chromaRow(), U and V interleaved in one row.
void chromaRowInterleaved(const std::uint8_t* __restrict top, const std::uint8_t* __restrict bottom,
                          std::uint8_t* __restrict uv, int pairs) {
    for (int i = 0; i < pairs; ++i) {
        const std::uint8_t* t = top + static_cast<std::ptrdiff_t>(i) * 8;
        const std::uint8_t* w = bottom + static_cast<std::ptrdiff_t>(i) * 8;
        const int b = blockAverage(t, w);
        const int g = blockAverage(t + 1, w + 1);
        const int r = blockAverage(t + 2, w + 2);
        uv[static_cast<std::ptrdiff_t>(i) * 2] = blueDifference(b, g, r);
        uv[static_cast<std::ptrdiff_t>(i) * 2 + 1] = redDifference(b, g, r);
    }
}

/// The lone last column of an odd width, averaged over its two rows.
void chromaOfLastColumn(const std::uint8_t* top, const std::uint8_t* bottom, int x, std::uint8_t* u, std::uint8_t* v) {
    const std::uint8_t* t = top + static_cast<std::ptrdiff_t>(x) * 4;
    const std::uint8_t* w = bottom + static_cast<std::ptrdiff_t>(x) * 4;
    const int b = (t[0] + w[0] + 1) >> 1;
    const int g = (t[1] + w[1] + 1) >> 1;
    const int r = (t[2] + w[2] + 1) >> 1;
    *u = blueDifference(b, g, r);
    *v = redDifference(b, g, r);
}

const std::uint8_t* row(const Frame& frame, int y) {
    return frame.data() + static_cast<std::ptrdiff_t>(y) * frame.stride();
}

std::uint8_t* row(MutablePlane plane, int y) {
    return plane.bytes.data() + static_cast<std::ptrdiff_t>(y) * plane.stride;
}

/// Calls `encode(chroma row, top, bottom)` for each row of chroma: two rows of the frame, or the
/// last of an odd height twice.
template <typename Encode>
void forEachChromaRow(const Frame& frame, Encode&& encode) {
    for (int cy = 0; cy < half(frame.height()); ++cy) {
        const std::uint8_t* top = row(frame, cy * 2);
        const std::uint8_t* bottom = cy * 2 + 1 < frame.height() ? row(frame, cy * 2 + 1) : top;
        encode(cy, top, bottom);
    }
}

void yuy2Row(const std::uint8_t* __restrict bgra, std::uint8_t* __restrict out, int pairs) {
    for (int i = 0; i < pairs; ++i) {
        const std::uint8_t* p = bgra + static_cast<std::ptrdiff_t>(i) * 8;
        const int b = (p[0] + p[4] + 1) >> 1;
        const int g = (p[1] + p[5] + 1) >> 1;
        const int r = (p[2] + p[6] + 1) >> 1;
        std::uint8_t* o = out + static_cast<std::ptrdiff_t>(i) * 4;
        o[0] = luma(p[0], p[1], p[2]);
        o[1] = blueDifference(b, g, r);
        o[2] = luma(p[4], p[5], p[6]);
        o[3] = redDifference(b, g, r);
    }
}

}  // namespace

bool toYuy2(const Frame& frame, YuvMatrix matrix, MutablePlane yuyv) {
    const int width = frame.width();
    const int height = frame.height();
    if (frame.empty() || !holds(yuyv, half(width) * 4, height)) {
        return false;
    }
    const int pairs = width / 2;
    if (matrix == YuvMatrix::bt601) {
        if (libyuv::ARGBToYUY2(frame.data(), frame.stride(), yuyv.bytes.data(), yuyv.stride, width, height) != 0) {
            return false;
        }
        // libyuv leaves the second luma of a lone last pixel 0, darker than black.
        for (int y = 0; y < height && width % 2 != 0; ++y) {
            std::uint8_t* last = row(yuyv, y) + static_cast<std::ptrdiff_t>(pairs) * 4;
            last[2] = last[0];
        }
        return true;
    }
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* in = row(frame, y);
        std::uint8_t* out = row(yuyv, y);
        yuy2Row(in, out, pairs);
        if (width % 2 != 0) {
            // The last pixel is its own pair, its luma twice.
            const std::uint8_t* p = in + static_cast<std::ptrdiff_t>(pairs) * 8;
            std::uint8_t* o = out + static_cast<std::ptrdiff_t>(pairs) * 4;
            o[0] = o[2] = luma(p[0], p[1], p[2]);
            o[1] = blueDifference(p[0], p[1], p[2]);
            o[3] = redDifference(p[0], p[1], p[2]);
        }
    }
    return true;
}

bool toI420(const Frame& frame, YuvMatrix matrix, MutablePlane y, MutablePlane u, MutablePlane v) {
    const int width = frame.width();
    const int height = frame.height();
    if (frame.empty() || !holds(y, width, height) || !holds(u, half(width), half(height)) ||
        !holds(v, half(width), half(height))) {
        return false;
    }
    if (matrix == YuvMatrix::bt601) {
        return libyuv::ARGBToI420(frame.data(), frame.stride(), y.bytes.data(), y.stride, u.bytes.data(), u.stride,
                                  v.bytes.data(), v.stride, width, height) == 0;
    }
    for (int r = 0; r < height; ++r) {
        lumaRow(row(frame, r), row(y, r), width);
    }
    const int pairs = width / 2;
    forEachChromaRow(frame, [&](int cy, const std::uint8_t* top, const std::uint8_t* bottom) {
        std::uint8_t* uRow = row(u, cy);
        std::uint8_t* vRow = row(v, cy);
        chromaRow(top, bottom, uRow, vRow, pairs);
        if (width % 2 != 0) {
            chromaOfLastColumn(top, bottom, width - 1, uRow + pairs, vRow + pairs);
        }
    });
    return true;
}

bool toNv12(const Frame& frame, YuvMatrix matrix, MutablePlane y, MutablePlane uv) {
    const int width = frame.width();
    const int height = frame.height();
    if (frame.empty() || !holds(y, width, height) || !holds(uv, half(width) * 2, half(height))) {
        return false;
    }
    if (matrix == YuvMatrix::bt601) {
        return libyuv::ARGBToNV12(frame.data(), frame.stride(), y.bytes.data(), y.stride, uv.bytes.data(), uv.stride,
                                  width, height) == 0;
    }
    for (int r = 0; r < height; ++r) {
        lumaRow(row(frame, r), row(y, r), width);
    }
    const int pairs = width / 2;
    forEachChromaRow(frame, [&](int cy, const std::uint8_t* top, const std::uint8_t* bottom) {
        std::uint8_t* uvRow = row(uv, cy);
        chromaRowInterleaved(top, bottom, uvRow, pairs);
        if (width % 2 != 0) {
            chromaOfLastColumn(top, bottom, width - 1, uvRow + static_cast<std::ptrdiff_t>(pairs) * 2,
                               uvRow + static_cast<std::ptrdiff_t>(pairs) * 2 + 1);
        }
    });
    return true;
}

}  // namespace moritane::pixels
