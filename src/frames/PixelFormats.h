#pragma once

#include "frames/Frame.h"

#include <cstdint>
#include <optional>
#include <span>

namespace moritane::pixels {

/// One plane of a source image as it was handed over: its bytes and the step from row to row.
struct Plane {
    std::span<const std::uint8_t> bytes;
    int stride = 0;
};

// Each converter makes a frame of width x height from planes that hold the whole image: a side
// outside 1 ... Frame::kMaxSide, a stride shorter than a row or a plane too short for its rows
// gives nothing, and no byte outside the planes is read. Chroma of odd sizes rounds up.

/// Packed Y0 U Y1 V (V4L2's YUYV, libyuv's YUY2), BT.601 limited range, as cameras send it.
std::optional<Frame> fromYuyv(Plane yuyv, int width, int height);
/// A Y plane and one of interleaved U V at half resolution, BT.601 limited range.
std::optional<Frame> fromNv12(Plane y, Plane uv, int width, int height);
/// Y, U and V planes, U and V at half resolution, BT.601 limited range.
std::optional<Frame> fromI420(Plane y, Plane u, Plane v, int width, int height);
/// R, G, B, A bytes per pixel (libyuv's "ABGR").
std::optional<Frame> fromRgba(Plane rgba, int width, int height);
/// R, G, B bytes per pixel (V4L2's RGB24, libyuv's "RAW"); the frame is opaque.
std::optional<Frame> fromRgb24(Plane rgb, int width, int height);
/// One whole JPEG picture, as MJPEG cameras send each frame; a picture that is not width x height,
/// or that does not decode, gives nothing.
std::optional<Frame> fromMjpeg(std::span<const std::uint8_t> jpeg, int width, int height);

}  // namespace moritane::pixels
