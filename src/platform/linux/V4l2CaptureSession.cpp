#include "platform/linux/V4l2CaptureSession.h"

#include "frames/PixelFormats.h"

#include <fmt/format.h>
#include <libv4l2.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <system_error>

namespace moritane {

namespace {

constexpr std::uint32_t kBufferCount = 4;

/// The formats we convert, cheapest first: the uncompressed ones, then JPEG.
constexpr std::array kConvertible{V4L2_PIX_FMT_YUYV,   V4L2_PIX_FMT_NV12,  V4L2_PIX_FMT_YUV420, V4L2_PIX_FMT_RGB24,
                                  V4L2_PIX_FMT_RGBA32, V4L2_PIX_FMT_MJPEG, V4L2_PIX_FMT_JPEG};

/// Lower is cheaper; none for a format we cannot convert. A conversion of libv4l2's costs more
/// than any of ours, since it comes on top of one.
std::optional<std::size_t> cost(const V4l2CaptureSession::FormatOffer& offer) {
    const auto* found = std::find(kConvertible.begin(), kConvertible.end(), offer.pixelFormat);
    if (found == kConvertible.end()) {
        return std::nullopt;
    }
    const auto rank = static_cast<std::size_t>(found - kConvertible.begin());
    return offer.emulated ? rank + kConvertible.size() : rank;
}

long area(FrameSize size) {
    return static_cast<long>(size.width) * size.height;
}

/// The step of a stepwise range that comes nearest `wanted` from below, within the range.
int snap(int wanted, std::uint32_t low, std::uint32_t high, std::uint32_t step) {
    const auto clamped = std::clamp(static_cast<std::uint32_t>(std::max(wanted, 0)), low, std::max(low, high));
    const auto stride = std::max<std::uint32_t>(step, 1);
    return static_cast<int>(low + (clamped - low) / stride * stride);
}

std::span<const std::uint8_t> from(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return offset <= bytes.size() ? bytes.subspan(offset) : std::span<const std::uint8_t>{};
}

std::string systemReason(int code) {
    // libv4l2 refuses a node that does not answer as a V4L2 device with this code.
    return code == ENOTTY ? "it is not a video device" : std::generic_category().message(code);
}

}  // namespace

/// What the reader shares with the frames it has posted, which may run after the session is gone.
struct V4l2CaptureSession::Delivery {
    explicit Delivery(FrameHandler frameHandler) : handler(std::move(frameHandler)) {}

    const FrameHandler handler;
    std::atomic<bool> stopped{false};
    std::atomic<bool> inFlight{false};
};

V4l2CaptureSession::V4l2CaptureSession(V4l2CaptureDevices devices, FrameSize preset)
    : m_devices(std::move(devices)), m_preset(preset) {}

V4l2CaptureSession::~V4l2CaptureSession() {
    stopRunning();
}

std::optional<FrameSize> V4l2CaptureSession::nearestSize(const std::vector<FrameSize>& sizes, FrameSize preset) {
    if (std::find(sizes.begin(), sizes.end(), preset) != sizes.end()) {
        return preset;
    }
    std::optional<FrameSize> larger;
    std::optional<FrameSize> largest;
    for (const auto& size : sizes) {
        if (size.width >= preset.width && size.height >= preset.height && (!larger || area(size) < area(*larger))) {
            larger = size;
        }
        if (!largest || area(size) > area(*largest)) {
            largest = size;
        }
    }
    return larger ? larger : largest;
}

std::optional<V4l2CaptureSession::StreamChoice> V4l2CaptureSession::chooseStream(const std::vector<FormatOffer>& offers,
                                                                                 FrameSize preset) {
    std::vector<FrameSize> sizes;
    for (const auto& offer : offers) {
        if (cost(offer)) {
            sizes.insert(sizes.end(), offer.sizes.begin(), offer.sizes.end());
        }
    }
    const auto size = nearestSize(sizes, preset);
    if (!size) {
        return std::nullopt;
    }
    const FormatOffer* cheapest = nullptr;
    for (const auto& offer : offers) {
        if (cost(offer) && std::find(offer.sizes.begin(), offer.sizes.end(), *size) != offer.sizes.end() &&
            (cheapest == nullptr || *cost(offer) < *cost(*cheapest))) {
            cheapest = &offer;
        }
    }
    return StreamChoice{cheapest->pixelFormat, *size};
}

std::optional<Frame> V4l2CaptureSession::frameFromBuffer(const v4l2_pix_format& format,
                                                         std::span<const std::uint8_t> bytes) {
    const auto width = static_cast<int>(format.width);
    const auto height = static_cast<int>(format.height);
    const auto stride = static_cast<int>(format.bytesperline);
    const auto lumaBytes = static_cast<std::size_t>(format.bytesperline) * format.height;
    switch (format.pixelformat) {
    case V4L2_PIX_FMT_YUYV:
        return pixels::fromYuyv({bytes, stride}, width, height);
    case V4L2_PIX_FMT_NV12:
        return pixels::fromNv12({bytes, stride}, {from(bytes, lumaBytes), stride}, width, height);
    case V4L2_PIX_FMT_YUV420: {
        // The chroma planes follow the luma, each with rows half as long and half as many.
        const auto chromaBytes = static_cast<std::size_t>(stride / 2) * ((format.height + 1) / 2);
        return pixels::fromI420({bytes, stride}, {from(bytes, lumaBytes), stride / 2},
                                {from(bytes, lumaBytes + chromaBytes), stride / 2}, width, height);
    }
    case V4L2_PIX_FMT_RGB24:
        return pixels::fromRgb24({bytes, stride}, width, height);
    case V4L2_PIX_FMT_RGBA32:
        return pixels::fromRgba({bytes, stride}, width, height);
    case V4L2_PIX_FMT_MJPEG:
    case V4L2_PIX_FMT_JPEG:
        return pixels::fromMjpeg(bytes, width, height);
    default:
        return std::nullopt;
    }
}

std::optional<Error> V4l2CaptureSession::makeInput(const std::string& uniqueID) {
    const std::lock_guard lock(m_lifecycle);
    release();
    const auto camera = m_devices.locate(uniqueID);
    if (!camera) {
        return Error{"POSIX", ENODEV, fmt::format("no camera with the id \"{}\" is connected", uniqueID)};
    }
    // Without waiting: a camera that has no frame ready must not hold the capture queue.
    m_device = v4l2_open(camera->path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (m_device < 0) {
        const int code = errno;
        return Error{
            "POSIX", code,
            fmt::format("the camera \"{}\" could not be opened: {}", camera->device.localizedName, systemReason(code))};
    }
    return std::nullopt;
}

bool V4l2CaptureSession::canAddInput() const {
    v4l2_capability capability{};
    if (m_device < 0 || v4l2_ioctl(m_device, VIDIOC_QUERYCAP, &capability) != 0) {
        return false;
    }
    const auto caps =
        (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0U ? capability.device_caps : capability.capabilities;
    return (caps & V4L2_CAP_VIDEO_CAPTURE) != 0U && (caps & V4L2_CAP_STREAMING) != 0U;
}

void V4l2CaptureSession::addInput() {
    m_inputAdded = m_device >= 0;
}

void V4l2CaptureSession::makeOutput(DispatchQueue& queue, FrameHandler handler) {
    m_queue = &queue;
    m_delivery = std::make_shared<Delivery>(std::move(handler));
    m_choice = chooseStream(offers(), m_preset);
}

bool V4l2CaptureSession::canAddOutput() const {
    return m_delivery && m_choice;
}

void V4l2CaptureSession::addOutput() {
    m_outputAdded = canAddOutput();
}

std::vector<V4l2CaptureSession::FormatOffer> V4l2CaptureSession::offers() const {
    std::vector<FormatOffer> found;
    v4l2_fmtdesc description{};
    description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    for (; m_device >= 0 && v4l2_ioctl(m_device, VIDIOC_ENUM_FMT, &description) == 0; ++description.index) {
        FormatOffer offer{description.pixelformat, (description.flags & V4L2_FMT_FLAG_EMULATED) != 0U, {}};
        if (!cost(offer)) {
            continue;
        }
        v4l2_frmsizeenum size{};
        size.pixel_format = description.pixelformat;
        for (; v4l2_ioctl(m_device, VIDIOC_ENUM_FRAMESIZES, &size) == 0; ++size.index) {
            if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
                offer.sizes.push_back({static_cast<int>(size.discrete.width), static_cast<int>(size.discrete.height)});
                continue;
            }
            // A range is offered as its one size nearest the preset.
            const auto& range = size.stepwise;
            offer.sizes.push_back({snap(m_preset.width, range.min_width, range.max_width, range.step_width),
                                   snap(m_preset.height, range.min_height, range.max_height, range.step_height)});
            break;
        }
        if (offer.sizes.empty()) {
            offer.sizes.push_back(m_preset);  // a driver that lists no sizes says its own when the format is set
        }
        found.push_back(std::move(offer));
    }
    return found;
}

void V4l2CaptureSession::startRunning() {
    const std::lock_guard lock(m_lifecycle);
    if (m_reader.joinable() || !m_inputAdded || !m_outputAdded) {
        return;
    }
    if (!startStreaming()) {
        release();  // the camera is busy or gone: no frames, as with one unplugged
        return;
    }
    m_reader = std::thread([this] { readFrames(); });
}

bool V4l2CaptureSession::startStreaming() {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = static_cast<std::uint32_t>(m_choice->size.width);
    format.fmt.pix.height = static_cast<std::uint32_t>(m_choice->size.height);
    format.fmt.pix.pixelformat = m_choice->pixelFormat;
    format.fmt.pix.field = V4L2_FIELD_NONE;
    if (v4l2_ioctl(m_device, VIDIOC_S_FMT, &format) != 0) {
        return false;
    }
    // The driver may have settled on another size than asked: it says which.
    m_format = format.fmt.pix;

    v4l2_requestbuffers request{};
    request.count = kBufferCount;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (v4l2_ioctl(m_device, VIDIOC_REQBUFS, &request) != 0) {
        return false;
    }
    for (std::uint32_t index = 0; index < request.count; ++index) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = index;
        if (v4l2_ioctl(m_device, VIDIOC_QUERYBUF, &buffer) != 0) {
            return false;
        }
        void* mapped = v4l2_mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, m_device, buffer.m.offset);
        if (mapped == MAP_FAILED) {
            return false;
        }
        m_buffers.emplace_back(static_cast<std::uint8_t*>(mapped), buffer.length);
        if (v4l2_ioctl(m_device, VIDIOC_QBUF, &buffer) != 0) {
            return false;
        }
    }
    m_wake = ::eventfd(0, EFD_CLOEXEC);
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    return m_wake >= 0 && !m_buffers.empty() && v4l2_ioctl(m_device, VIDIOC_STREAMON, &type) == 0;
}

void V4l2CaptureSession::readFrames() {
    std::array<pollfd, 2> watched{{{m_device, POLLIN, 0}, {m_wake, POLLIN, 0}}};
    while (true) {
        if (::poll(watched.data(), watched.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        // An unplugged camera reports an error on its node; it sends nothing more, so stop quietly.
        if (watched[1].revents != 0 || (watched[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
            return;
        }
        if ((watched[0].revents & POLLIN) == 0) {
            continue;
        }
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        if (v4l2_ioctl(m_device, VIDIOC_DQBUF, &buffer) != 0) {
            if (errno == EAGAIN || errno == EINTR) {
                continue;  // libv4l2 dropped a frame it could not convert
            }
            return;
        }
        deliver(buffer);
        if (v4l2_ioctl(m_device, VIDIOC_QBUF, &buffer) != 0) {
            return;
        }
    }
}

void V4l2CaptureSession::deliver(const v4l2_buffer& buffer) {
    // A frame is converted only when the handler is free to take it.
    if ((buffer.flags & V4L2_BUF_FLAG_ERROR) != 0U || buffer.index >= m_buffers.size() ||
        m_delivery->inFlight.exchange(true)) {
        return;
    }
    const auto mapped = m_buffers[buffer.index];
    auto frame = frameFromBuffer(m_format, mapped.first(std::min<std::size_t>(buffer.bytesused, mapped.size())));
    if (!frame) {
        m_delivery->inFlight = false;
        return;
    }
    m_queue->async([delivery = m_delivery, frame = std::move(*frame)] {
        if (!delivery->stopped) {
            delivery->handler(frame);
        }
        delivery->inFlight = false;
    });
}

void V4l2CaptureSession::stopRunning() {
    const std::lock_guard lock(m_lifecycle);
    release();
}

void V4l2CaptureSession::release() {
    if (m_delivery) {
        m_delivery->stopped = true;
    }
    if (m_reader.joinable()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(m_wake, &one, sizeof one);
        m_reader.join();
    }
    if (m_wake >= 0) {
        ::close(m_wake);
        m_wake = -1;
    }
    if (m_device < 0) {
        return;
    }
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    v4l2_ioctl(m_device, VIDIOC_STREAMOFF, &type);
    for (const auto& mapped : m_buffers) {
        v4l2_munmap(mapped.data(), mapped.size());
    }
    m_buffers.clear();
    v4l2_close(m_device);
    m_device = -1;
    m_inputAdded = false;
}

}  // namespace moritane
