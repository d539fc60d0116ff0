#include "platform/linux/V4l2LoopbackSink.h"

#include "frames/YuvEncoding.h"
#include "platform/linux/V4l2CaptureDevices.h"
#include "support/Files.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace moritane {

namespace {

constexpr std::uint32_t kBytesPerLine = FrameSink::frameWidth * 2;
constexpr std::uint32_t kImageBytes = kBytesPerLine * FrameSink::frameHeight;

Error systemError(int code) {
    return Error{"POSIX", code, std::generic_category().message(code)};
}

std::optional<Error> lastError(int result) {
    return result == 0 ? std::nullopt : std::optional(systemError(errno));
}

std::string fieldText(const __u8* field, std::size_t size) {
    const auto* text = reinterpret_cast<const char*>(field);
    return {text, strnlen(text, size)};
}

v4l2_pix_format wantedFormat() {
    v4l2_pix_format format{};
    format.width = FrameSink::frameWidth;
    format.height = FrameSink::frameHeight;
    format.pixelformat = V4L2_PIX_FMT_YUYV;
    format.field = V4L2_FIELD_NONE;
    format.bytesperline = kBytesPerLine;
    format.sizeimage = kImageBytes;
    format.colorspace = V4L2_COLORSPACE_REC709;
    return format;
}

}  // namespace

KernelLoopbackDevices::KernelLoopbackDevices(std::filesystem::path deviceDirectory,
                                             std::filesystem::path sysfsClassDirectory)
    : m_deviceDirectory(std::move(deviceDirectory)), m_sysfsClassDirectory(std::move(sysfsClassDirectory)) {}

std::vector<std::filesystem::path> KernelLoopbackDevices::nodes() const {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_deviceDirectory, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::vector<std::filesystem::path> paths;
    for (const auto& name : V4l2CaptureDevices::videoNodeNames(names)) {
        // The module gives the node its label as its name, which sysfs tells without opening
        // anything: a camera opened every few seconds would never be let sleep.
        const auto kernelName = files::readFile(m_sysfsClassDirectory / name / "name", 256);
        if (kernelName && std::string_view(kernelName.value()).substr(0, kernelName.value().find('\n')) !=
                              V4l2LoopbackSink::kCardLabel) {
            continue;
        }
        paths.push_back(m_deviceDirectory / name);
    }
    return paths;
}

std::optional<LoopbackDevices::Identity> KernelLoopbackDevices::identify(const std::filesystem::path& node) const {
    // Without waiting: a busy camera must not hold the search up.
    const int descriptor = ::open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    v4l2_capability capability{};
    const int result = ::ioctl(descriptor, VIDIOC_QUERYCAP, &capability);
    ::close(descriptor);
    if (result != 0) {
        return std::nullopt;
    }
    return Identity{fieldText(capability.driver, sizeof capability.driver),
                    fieldText(capability.card, sizeof capability.card)};
}

Result<int> KernelLoopbackDevices::open(const std::filesystem::path& node) {
    const int descriptor = ::open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return systemError(errno);
    }
    return descriptor;
}

std::optional<Error> KernelLoopbackDevices::setFormat(int handle, v4l2_pix_format& format) {
    v4l2_format request{};
    request.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    request.fmt.pix = format;
    if (::ioctl(handle, VIDIOC_S_FMT, &request) != 0) {
        return systemError(errno);
    }
    format = request.fmt.pix;
    return std::nullopt;
}

std::optional<Error> KernelLoopbackDevices::setTimePerFrame(int handle, v4l2_fract timePerFrame) {
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    parameters.parm.output.timeperframe = timePerFrame;
    return lastError(::ioctl(handle, VIDIOC_S_PARM, &parameters));
}

std::optional<Error> KernelLoopbackDevices::write(int handle, std::span<const std::uint8_t> bytes) {
    // The module takes a picture in one write; a shorter count would mean a smaller format, which
    // setFormat() has ruled out.
    return ::write(handle, bytes.data(), bytes.size()) < 0 ? std::optional(systemError(errno)) : std::nullopt;
}

void KernelLoopbackDevices::close(int handle) {
    ::close(handle);
}

V4l2LoopbackSink::V4l2LoopbackSink(LoopbackDevices& devices, Log& log) : m_devices(devices), m_log(log) {}

V4l2LoopbackSink::~V4l2LoopbackSink() {
    if (m_handle) {
        m_devices.close(*m_handle);
    }
}

Result<std::filesystem::path> V4l2LoopbackSink::locate() const {
    // By driver and label, never by number: the module numbers its devices after whatever
    // cameras were there first.
    for (const auto& node : m_devices.nodes()) {
        const auto identity = m_devices.identify(node);
        if (identity && identity->driver == kDriver && identity->card == kCardLabel) {
            return node;
        }
    }
    return Error{"Moritane", ENODEV, "no v4l2loopback device labelled Moritane; serving PipeWire alone"};
}

std::optional<Error> V4l2LoopbackSink::prepare(int handle) {
    v4l2_pix_format format = wantedFormat();
    if (auto error = m_devices.setFormat(handle, format)) {
        return error;
    }
    const v4l2_pix_format wanted = wantedFormat();
    if (format.width != wanted.width || format.height != wanted.height || format.pixelformat != wanted.pixelformat ||
        format.bytesperline != wanted.bytesperline) {
        // Readers fixed another format before us; our pictures would come out garbled.
        return Error{"Moritane", EBUSY,
                     fmt::format("the device keeps {}x{} with {} bytes a row", format.width, format.height,
                                 format.bytesperline)};
    }
    return m_devices.setTimePerFrame(handle, v4l2_fract{1, FrameSink::framesPerSecond});
}

void V4l2LoopbackSink::findDevice() {
    if (m_handle) {
        return;
    }
    auto node = locate();
    if (!node) {
        noteProblem(fmt::format("V4l2LoopbackSink: {}", node.error().description));
        return;
    }
    const auto& path = node.value();
    auto opened = m_devices.open(path);
    if (!opened) {
        noteProblem(fmt::format("V4l2LoopbackSink: cannot open {}: {}", path.string(), opened.error().description));
        return;
    }
    if (const auto error = prepare(opened.value())) {
        m_devices.close(opened.value());
        noteProblem(fmt::format("V4l2LoopbackSink: cannot write YUYV {}x{} at {} fps to {}: {}", frameWidth,
                                frameHeight, framesPerSecond, path.string(), error->description));
        return;
    }
    m_handle = opened.value();
    m_node = path;
    m_lastProblem.clear();
    m_log.write(fmt::format("V4l2LoopbackSink: writing YUYV {}x{} at {} fps to {} ({})", frameWidth, frameHeight,
                            framesPerSecond, path.string(), kCardLabel));
    changed();
}

void V4l2LoopbackSink::send(const Frame& frame) {
    if (!m_handle || frame.width() != frameWidth || frame.height() != frameHeight) {
        return;
    }
    if (m_converted.data() != frame.data()) {
        m_yuyv.resize(kImageBytes);
        if (!pixels::toYuy2(frame, pixels::YuvMatrix::bt709, {m_yuyv, static_cast<int>(kBytesPerLine)})) {
            return;
        }
        m_converted = frame;
        ++m_picturesConverted;
    }
    const auto error = m_devices.write(*m_handle, m_yuyv);
    if (error && error->code != EAGAIN) {
        lose(*error);
    }
}

void V4l2LoopbackSink::noteProblem(const std::string& line) {
    if (line != m_lastProblem) {
        m_log.write(line);
        m_lastProblem = line;
    }
}

void V4l2LoopbackSink::lose(const Error& error) {
    m_log.write(fmt::format("V4l2LoopbackSink: stopped writing to {}: {}", m_node.string(), error.description));
    m_devices.close(*m_handle);
    m_handle.reset();
    m_node.clear();
    changed();
}

void V4l2LoopbackSink::changed() {
    if (m_watchedChanged) {
        m_watchedChanged();
    }
}

}  // namespace moritane
