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

// Library images are whatever files the user imported: a frame may come out of them only
// within the caps.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto frame = moritane::QtImageDecoder::decodeBytes({data, size});
    if (!frame) {
        return 0;
    }
    const std::int64_t pixels = static_cast<std::int64_t>(frame->width()) * frame->height();
    if (frame->empty() || frame->width() > moritane::Frame::kMaxSide || frame->height() > moritane::Frame::kMaxSide ||
        pixels > moritane::ImageDecoder::kMaxPixels) {
        std::abort();
    }
    return 0;
}
