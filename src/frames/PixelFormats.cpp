#include "frames/PixelFormats.h"

#include "frames/PlaneBounds.h"

#include <libyuv/convert_argb.h>

#include <cstddef>
#include <utility>

namespace moritane::pixels {
namespace {

bool sizeFits(int width, int height) {
    return width > 0 && height > 0 && width <= Frame::kMaxSide && height <= Frame::kMaxSide;
}

/// Runs one libyuv converter into a new canvas; it only fails on arguments checked before.
template <typename Convert>
std::optional<Frame> convert(int width, int height, Convert&& run) {
    Canvas canvas(width, height);
    if (std::forward<Convert>(run)(canvas.data(), canvas.stride()) != 0) {
        return std::nullopt;
    }
    return std::move(canvas).finish();
}

}  // namespace

std::optional<Frame> fromYuyv(Plane yuyv, int width, int height) {
    if (!sizeFits(width, height) || !holds(yuyv, half(width) * 4, height)) {
        return std::nullopt;
    }
    return convert(width, height, [&](std::uint8_t* out, int stride) {
        return libyuv::YUY2ToARGB(yuyv.bytes.data(), yuyv.stride, out, stride, width, height);
    });
}

std::optional<Frame> fromNv12(Plane y, Plane uv, int width, int height) {
    if (!sizeFits(width, height) || !holds(y, width, height) || !holds(uv, half(width) * 2, half(height))) {
        return std::nullopt;
    }
    return convert(width, height, [&](std::uint8_t* out, int stride) {
        return libyuv::NV12ToARGB(y.bytes.data(), y.stride, uv.bytes.data(), uv.stride, out, stride, width, height);
    });
}

std::optional<Frame> fromI420(Plane y, Plane u, Plane v, int width, int height) {
    if (!sizeFits(width, height) || !holds(y, width, height) || !holds(u, half(width), half(height)) ||
        !holds(v, half(width), half(height))) {
        return std::nullopt;
    }
    return convert(width, height, [&](std::uint8_t* out, int stride) {
        return libyuv::I420ToARGB(y.bytes.data(), y.stride, u.bytes.data(), u.stride, v.bytes.data(), v.stride, out,
                                  stride, width, height);
    });
}

std::optional<Frame> fromRgba(Plane rgba, int width, int height) {
    if (!sizeFits(width, height) || !holds(rgba, width * 4, height)) {
        return std::nullopt;
    }
    return convert(width, height, [&](std::uint8_t* out, int stride) {
        return libyuv::ABGRToARGB(rgba.bytes.data(), rgba.stride, out, stride, width, height);
    });
}

std::optional<Frame> fromRgb24(Plane rgb, int width, int height) {
    if (!sizeFits(width, height) || !holds(rgb, width * 3, height)) {
        return std::nullopt;
    }
    return convert(width, height, [&](std::uint8_t* out, int stride) {
        return libyuv::RAWToARGB(rgb.bytes.data(), rgb.stride, out, stride, width, height);
    });
}

std::optional<Frame> fromMjpeg(std::span<const std::uint8_t> jpeg, int width, int height) {
    if (!sizeFits(width, height)) {
        return std::nullopt;
    }
    // libyuv reads the picture's own size first and refuses one that is not width x height.
    return convert(width, height, [&](std::uint8_t* out, int stride) {
        return libyuv::MJPGToARGB(jpeg.data(), jpeg.size(), out, stride, width, height, width, height);
    });
}

}  // namespace moritane::pixels
