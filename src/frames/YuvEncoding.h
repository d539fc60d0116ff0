#pragma once

#include "frames/Frame.h"

#include <cstdint>
#include <span>

namespace moritane::pixels {

/// The colour matrix of encoded YUV, limited range (16 ... 235 luma): BT.601 as SD video and most
/// cameras use, BT.709 as HD video is read by consumers that are not told otherwise.
enum class YuvMatrix { bt601, bt709 };

/// One plane of an encoded picture: where its bytes go and the step from row to row.
struct MutablePlane {
    std::span<std::uint8_t> bytes;
    int stride = 0;
};

// Each encoder writes the whole of `frame` (opaque BGRA) into planes sized for it and returns
// false, writing nothing, when a plane is too short for its rows, a stride shorter than a row or
// the frame empty.
// Chroma is the average of each pair (YUY2) or 2 x 2 block (I420, NV12); odd sizes round up, and
// the lone last pixel of a YUY2 row gives its luma twice.

/// Packed Y0 U Y1 V: V4L2's YUYV, PipeWire's YUY2.
bool toYuy2(const Frame& frame, YuvMatrix matrix, MutablePlane yuyv);
/// Y, U and V planes, U and V at half resolution.
bool toI420(const Frame& frame, YuvMatrix matrix, MutablePlane y, MutablePlane u, MutablePlane v);
/// A Y plane and one of interleaved U V at half resolution.
bool toNv12(const Frame& frame, YuvMatrix matrix, MutablePlane y, MutablePlane uv);

}  // namespace moritane::pixels
