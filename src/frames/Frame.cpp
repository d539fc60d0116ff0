#include "frames/Frame.h"

#include <libyuv/planar_functions.h>

#include <cstddef>
#include <utility>

namespace moritane {

Frame::Frame(int width, int height, std::shared_ptr<const PixelBytes> pixels)
    : m_width(width), m_height(height), m_stride(width * 4), m_pixels(std::move(pixels)) {}

Frame Frame::filled(int width, int height, std::array<std::uint8_t, 4> bgra) {
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) {
        return {};
    }
    Canvas canvas(width, height);
    // libyuv's ARGB value is one native word: B in the low byte, as it lies first in memory.
    const auto value = static_cast<std::uint32_t>(bgra[0]) | static_cast<std::uint32_t>(bgra[1]) << 8U |
                       static_cast<std::uint32_t>(bgra[2]) << 16U | static_cast<std::uint32_t>(bgra[3]) << 24U;
    libyuv::ARGBRect(canvas.data(), canvas.stride(), 0, 0, width, height, value);
    return std::move(canvas).finish();
}

std::array<std::uint8_t, 4> Frame::pixel(int x, int y) const {
    const std::uint8_t* at = data() + static_cast<std::ptrdiff_t>(y) * m_stride + static_cast<std::ptrdiff_t>(x) * 4;
    return {at[0], at[1], at[2], at[3]};
}

Canvas::Canvas(int width, int height)
    : m_width(width),
      m_height(height),
      m_pixels(std::make_shared_for_overwrite<PixelBytes>(static_cast<std::size_t>(width) * 4 *
                                                          static_cast<std::size_t>(height))) {}

Frame Canvas::finish() && {
    return {m_width, m_height, std::move(m_pixels)};
}

}  // namespace moritane
