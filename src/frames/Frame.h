#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace moritane {

// NOLINTNEXTLINE(modernize-avoid-c-arrays): sized at run time and left unfilled until drawn
using PixelBytes = std::uint8_t[];

/// An image of B, G, R, A bytes per pixel in that memory order (libyuv's "ARGB"), rows top down.
/// Fixed once made: copies share the pixels, so a frame passes between threads as it is.
class Frame {
public:
    /// Longest side a frame may have; it keeps every byte count of a frame within an int.
    static constexpr int kMaxSide = 16384;

    /// No pixels: 0 x 0.
    Frame() = default;

    /// Every pixel `bgra`; a side outside 0 ... kMaxSide gives an empty frame.
    static Frame filled(int width, int height, std::array<std::uint8_t, 4> bgra);
    /// Opaque black, as filled().
    static Frame black(int width, int height) { return filled(width, height, {0, 0, 0, 255}); }

    int width() const { return m_width; }
    int height() const { return m_height; }
    /// Bytes from one row to the next.
    int stride() const { return m_stride; }
    bool empty() const { return m_width == 0 || m_height == 0; }
    /// The first byte of the top row; null when empty.
    const std::uint8_t* data() const { return m_pixels.get(); }

    /// B, G, R, A of one pixel inside the frame.
    std::array<std::uint8_t, 4> pixel(int x, int y) const;

private:
    friend class Canvas;
    Frame(int width, int height, std::shared_ptr<const PixelBytes> pixels);

    int m_width = 0;
    int m_height = 0;
    int m_stride = 0;
    std::shared_ptr<const PixelBytes> m_pixels;
};

/// Pixels still being written, by their only owner, before they become a frame. The bytes are
/// left as they come from the allocator: whoever draws must cover every one.
class Canvas {
public:
    /// Both sides within 1 ... Frame::kMaxSide.
    Canvas(int width, int height);

    std::uint8_t* data() { return m_pixels.get(); }
    int stride() const { return m_width * 4; }

    Frame finish() &&;

private:
    int m_width;
    int m_height;
    std::shared_ptr<PixelBytes> m_pixels;
};

}  // namespace moritane
