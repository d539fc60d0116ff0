#pragma once

#include <cstddef>

namespace moritane::pixels {

/// Whether `rows` rows of `rowBytes` each lie inside `plane` (a Plane or a MutablePlane); the
/// sides are checked against Frame::kMaxSide first, so no product overflows.
template <typename AnyPlane>
bool holds(const AnyPlane& plane, int rowBytes, int rows) {
    if (plane.stride < rowBytes) {
        return false;
    }
    const auto needed = static_cast<std::size_t>(plane.stride) * static_cast<std::size_t>(rows - 1) +
                        static_cast<std::size_t>(rowBytes);
    return plane.bytes.size() >= needed;
}

/// The chroma side of a picture side: odd sides round up.
inline int half(int side) {
    return (side + 1) / 2;
}

}  // namespace moritane::pixels
