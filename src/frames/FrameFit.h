#pragma once

#include "frames/Frame.h"

namespace moritane {

/// The whole of `source`, scaled by the smaller of width / w and height / h (up as well as down)
/// and centred on an opaque black frame of width x height: bars above and below a wider image, at
/// the sides of a narrower one. The scaled side that does not fill the frame is rounded to the
/// nearest pixel, at least one; of an odd leftover the extra pixel goes below or to the right.
/// The result is opaque throughout: a see-through source counts as drawn onto black, which is
/// right when its colours come premultiplied by their alpha. libyuv's filter may darken colours by
/// up to two levels. An empty source gives plain black; a side outside 0 ... Frame::kMaxSide an empty frame.
Frame fitIntoBlack(const Frame& source, int width, int height);

}  // namespace moritane
