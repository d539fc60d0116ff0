#include "frames/FrameFit.h"
#include "frames/PixelFormats.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>

namespace {

using moritane::Frame;
using moritane::pixels::Plane;

/// Bytes that end right before an unreadable page: libyuv is not instrumented, so a read past a
/// plane's end must fault to be seen.
class Fenced {
public:
    explicit Fenced(std::span<const std::uint8_t> bytes) {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        length_ = (bytes.size() + page - 1) / page * page + page;
        base_ = static_cast<std::uint8_t*>(
            ::mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base_ == MAP_FAILED) {
            std::abort();
        }
        std::uint8_t* guard = base_ + length_ - page;
        ::mprotect(guard, page, PROT_NONE);
        if (!bytes.empty()) {
            std::memcpy(guard - bytes.size(), bytes.data(), bytes.size());
        }
        bytes_ = {guard - bytes.size(), bytes.size()};
    }
    Fenced(const Fenced&) = delete;
    Fenced& operator=(const Fenced&) = delete;
    ~Fenced() { ::munmap(base_, length_); }

    std::span<const std::uint8_t> bytes() const { return bytes_; }

private:
    std::uint8_t* base_ = nullptr;
    std::size_t length_ = 0;
    std::span<const std::uint8_t> bytes_;
};

/// Reads the fuzzer's choices off the front of the input, zeros once it runs out.
class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> input) : rest_(input) {}

    int take16() {
        int value = 0;
        for (int i = 0; i < 2 && !rest_.empty(); ++i) {
            value = value << 8 | rest_.front();
            rest_ = rest_.subspan(1);
        }
        return static_cast<std::int16_t>(value);
    }
    std::span<const std::uint8_t> takePlane() {
        const auto length = std::min(static_cast<std::size_t>(take16() & 0x7fff), rest_.size());
        const auto plane = rest_.first(length);
        rest_ = rest_.subspan(length);
        return plane;
    }

private:
    std::span<const std::uint8_t> rest_;
};

}  // namespace

// Camera buffers and decoded images come with sizes and strides that may not match their bytes:
// each converter must refuse what does not fit rather than read outside it, and what it makes
// must fit into black at any size.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader reader({data, size});
    const int format = reader.take16() & 0xff;
    const int width = reader.take16();
    const int height = reader.take16();
    const int strides[3] = {reader.take16(), reader.take16(), reader.take16()};
    const Fenced first(reader.takePlane());
    const Fenced second(reader.takePlane());
    const Fenced third(reader.takePlane());
    const Plane a{first.bytes(), strides[0]};
    const Plane b{second.bytes(), strides[1]};
    const Plane c{third.bytes(), strides[2]};

    std::optional<Frame> frame;
    switch (format % 6) {
    case 0:
        frame = moritane::pixels::fromYuyv(a, width, height);
        break;
    case 1:
        frame = moritane::pixels::fromNv12(a, b, width, height);
        break;
    case 2:
        frame = moritane::pixels::fromI420(a, b, c, width, height);
        break;
    case 3:
        frame = moritane::pixels::fromRgba(a, width, height);
        break;
    case 4:
        frame = moritane::pixels::fromRgb24(a, width, height);
        break;
    default:
        frame = moritane::pixels::fromMjpeg(a.bytes, width, height);
        break;
    }
    if (frame && (frame->width() != width || frame->height() != height)) {
        std::abort();
    }
    const int fitWidth = reader.take16() % 300;
    const int fitHeight = reader.take16() % 300;
    const Frame fitted = moritane::fitIntoBlack(frame.value_or(Frame()), fitWidth, fitHeight);
    const bool sized = fitWidth > 0 && fitHeight > 0;
    if (fitted.width() != (sized ? fitWidth : 0) || fitted.height() != (sized ? fitHeight : 0)) {
        std::abort();
    }
    return 0;
}
