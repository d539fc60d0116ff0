#include "platform/qt/QtImageDecoder.h"

#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// Qt's readers complain of every damaged file; at fuzzing speed that is all the output would be.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

namespace {

bool withinCaps(const moritane::Frame& frame) {
    const std::int64_t pixels = static_cast<std::int64_t>(frame.width()) * frame.height();
    return !frame.empty() && frame.width() <= moritane::Frame::kMaxSide &&
           frame.height() <= moritane::Frame::kMaxSide && pixels <= moritane::ImageDecoder::kMaxPixels;
}

}  // namespace

// Library images are whatever files the user imported: a frame may come out of them only
// within the caps, whole or as a thumbnail, and a thumbnail never larger than the whole.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto frame = moritane::QtImageDecoder::decodeBytes({data, size});
    if (frame && !withinCaps(*frame)) {
        std::abort();
    }
    const int side = 1 + static_cast<int>(size % 64);
    const auto thumbnail = moritane::QtImageDecoder::decodeBytesCovering({data, size}, side);
    if (thumbnail && (!withinCaps(*thumbnail) ||
                      (frame && (thumbnail->width() > frame->width() || thumbnail->height() > frame->height())))) {
        std::abort();
    }
    return 0;
}
