#include "frames/FrameFit.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace moritane {
namespace {

struct Placement {
    int x;
    int y;
    int width;
    int height;
};

/// Where the scaled source lies, in whole pixels; the products stay exact in 64 bits.
Placement place(int sourceWidth, int sourceHeight, int width, int height) {
    const std::int64_t w = sourceWidth;
    const std::int64_t h = sourceHeight;
    const std::int64_t wide = w * height;
    const std::int64_t tall = h * width;
    int fittedWidth = width;
    int fittedHeight = height;
    if (wide > tall) {
        fittedHeight = static_cast<int>(std::max<std::int64_t>(1, (2 * h * width + w) / (2 * w)));
    } else if (wide < tall) {
        fittedWidth = static_cast<int>(std::max<std::int64_t>(1, (2 * w * height + h) / (2 * h)));
    }
    return {(width - fittedWidth) / 2, (height - fittedHeight) / 2, fittedWidth, fittedHeight};
}

}  // namespace

Frame fitIntoBlack(const Frame& source, int width, int height) {
    if (source.empty() || width <= 0 || height <= 0 || width > Frame::kMaxSide || height > Frame::kMaxSide) {
        return Frame::black(width, height);
    }
    const Placement at = place(source.width(), source.height(), width, height);
    Canvas canvas(width, height);
    std::uint8_t* pixels = canvas.data();
    const int stride = canvas.stride();
    // Black only where the image does not go: the bars, before and after it.
    constexpr std::uint32_t kOpaqueBlack = 0xFF000000U;
    libyuv::ARGBRect(pixels, stride, 0, 0, width, at.y, kOpaqueBlack);
    libyuv::ARGBRect(pixels, stride, 0, at.y + at.height, width, height - at.y - at.height, kOpaqueBlack);
    libyuv::ARGBRect(pixels, stride, 0, at.y, at.x, at.height, kOpaqueBlack);
    libyuv::ARGBRect(pixels, stride, at.x + at.width, at.y, width - at.x - at.width, at.height, kOpaqueBlack);
    std::uint8_t* image = pixels + static_cast<std::ptrdiff_t>(at.y) * stride + static_cast<std::ptrdiff_t>(at.x) * 4;
    libyuv::ARGBScale(source.data(), source.stride(), source.width(), source.height(), image, stride, at.width,
                      at.height, libyuv::kFilterBox);
    // libyuv's filter weights sum to just under one, so even opaque pixels come out at 253: the
    // image counts as drawn onto black, which leaves nothing see-through.
    static const std::array<std::uint8_t, Frame::kMaxSide> kOpaqueRow = [] {
        std::array<std::uint8_t, Frame::kMaxSide> row{};
        row.fill(255);
        return row;
    }();
    libyuv::ARGBCopyYToAlpha(kOpaqueRow.data(), 0, image, stride, at.width, at.height);
    return std::move(canvas).finish();
}

}  // namespace moritane
