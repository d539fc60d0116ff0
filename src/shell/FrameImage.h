#pragma once

#include "frames/Frame.h"

#include <QImage>

namespace moritane {

/// Wraps a frame's pixels without copying; the frame must outlive the image.
inline QImage imageOf(const Frame& frame) {
    return {frame.data(), frame.width(), frame.height(), frame.stride(), QImage::Format_ARGB32_Premultiplied};
}

}  // namespace moritane
