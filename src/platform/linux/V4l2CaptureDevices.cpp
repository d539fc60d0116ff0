#include "platform/linux/V4l2CaptureDevices.h"

#include "platform/linux/KernelVersion.h"
#include "support/Files.h"
#include "support/Utf8.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace moritane {

namespace {

/// A fixed-size text field of the driver's, which need not end in a zero byte.
std::string fieldText(const __u8* field, std::size_t size) {
    const auto* text = reinterpret_cast<const char*>(field);
    return {text, strnlen(text, size)};
}

/// A sysfs attribute, without its trailing newline; empty when absent. Read without waiting, so
/// that a pipe in its place cannot hold discovery up.
std::string attribute(const std::filesystem::path& path) {
    constexpr std::size_t kPage = 4096;  // sysfs gives no attribute longer than a page
    auto value = files::readFile(path, kPage);
    return value ? value.value().substr(0, value.value().find('\n')) : std::string{};
}

bool asked(const std::vector<std::string_view>& deviceTypes, std::string_view type) {
    return std::find(deviceTypes.begin(), deviceTypes.end(), type) != deviceTypes.end();
}

std::optional<unsigned> nodeNumber(std::string_view name) {
    constexpr std::string_view prefix = "video";
    if (!name.starts_with(prefix) || name.size() == prefix.size()) {
        return std::nullopt;
    }
    unsigned number = 0;
    const auto* end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data() + prefix.size(), end, number);
    return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

/// The USB device that `node` belongs to: the first directory up its sysfs path with a vendor id.
std::optional<V4l2CaptureDevices::Node::Usb> usbDevice(const std::filesystem::path& deviceLink) {
    std::error_code error;
    auto directory = std::filesystem::canonical(deviceLink, error);
    if (error) {
        return std::nullopt;
    }
    for (; directory.has_relative_path(); directory = directory.parent_path()) {
        if (std::filesystem::exists(directory / "idVendor", error) &&
            std::filesystem::exists(directory / "idProduct", error)) {
            return V4l2CaptureDevices::Node::Usb{attribute(directory / "idVendor"), attribute(directory / "idProduct"),
                                                 attribute(directory / "serial"), directory.filename().string(),
                                                 attribute(directory / "removable")};
        }
    }
    return std::nullopt;
}

/// The bus name that the kernel gives a driver that names none itself, worked out from sysfs for a
/// node that cannot be asked.
std::string kernelBusInfo(const std::filesystem::path& deviceLink) {
    std::error_code error;
    const auto device = std::filesystem::canonical(deviceLink, error);
    if (error) {
        return {};
    }
    const auto bus = std::filesystem::canonical(device / "subsystem", error).filename();
    auto name = device.filename().string();
    if (bus == "platform") {
        return "platform:" + name;
    }
    if (bus == "pci") {
        return "PCI:" + name;
    }
    return name;
}

}  // namespace

V4l2CaptureDevices::V4l2CaptureDevices(std::filesystem::path deviceDirectory, std::filesystem::path sysfsClassDirectory)
    : m_deviceDirectory(std::move(deviceDirectory)), m_sysfsDirectory(std::move(sysfsClassDirectory)) {}

std::vector<std::string> V4l2CaptureDevices::videoNodeNames(const std::vector<std::string>& names) {
    std::vector<std::pair<unsigned, std::string>> numbered;
    for (const auto& name : names) {
        if (const auto number = nodeNumber(name)) {
            numbered.emplace_back(*number, name);
        }
    }
    std::sort(numbered.begin(), numbered.end());
    std::vector<std::string> sorted;
    sorted.reserve(numbered.size());
    for (auto& [number, name] : numbered) {
        sorted.push_back(std::move(name));
    }
    return sorted;
}

bool V4l2CaptureDevices::isCaptureNode(const Node& node) {
    if (node.openable) {
        // Metadata and output nodes of a camera are not cameras of their own.
        return (node.capabilities & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE)) != 0U;
    }
    // Unopened, a node's capabilities are unknown. A driver that makes several nodes for one
    // device numbers them from 0 in the order it registers them, the picture first (uvcvideo's
    // metadata node is 1), so index 0 stands for the camera. A node the kernel gives no name is
    // none we know.
    return node.index == "0" && !node.card.empty();
}

std::optional<CaptureDevice> V4l2CaptureDevices::describe(const Node& node,
                                                          const std::vector<std::string_view>& deviceTypes) {
    if (!isCaptureNode(node)) {
        return std::nullopt;
    }
    const bool builtIn = node.onPlatformBus || (node.usb && node.usb->removable == "fixed");
    std::string_view type;
    if (builtIn) {
        type = CaptureDeviceType::builtInWideAngleCamera;
    } else {
        type = asked(deviceTypes, CaptureDeviceType::external) ? CaptureDeviceType::external
                                                               : CaptureDeviceType::externalUnknown;
    }
    if (!asked(deviceTypes, type)) {
        return std::nullopt;
    }
    std::string id;
    if (node.usb && !node.usb->serial.empty()) {
        id = fmt::format("usb-{}:{}-{}-{}", node.usb->vendorId, node.usb->productId, node.usb->serial, node.index);
    } else if (node.usb) {
        // Without a serial number two cameras of one model differ only by where they are plugged.
        id = fmt::format("usb-{}:{}-port{}-{}", node.usb->vendorId, node.usb->productId, node.usb->port, node.index);
    } else if (!node.busInfo.empty()) {
        id = fmt::format("{}-{}", node.busInfo, node.index);
    } else {
        id = node.name;
    }
    return CaptureDevice{utf8::replacingInvalid(id), utf8::replacingInvalid(node.card), std::string(type)};
}

OperatingSystemVersion V4l2CaptureDevices::operatingSystemVersion() const {
    return kernelVersion();
}

std::optional<V4l2CaptureDevices::Node> V4l2CaptureDevices::readNode(const std::string& name) const {
    const auto path = m_deviceDirectory / name;
    struct stat status {};
    const bool isDevice = ::stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode);
    Node node;
    node.name = name;
    const auto sysfs = m_sysfsDirectory / name;
    if (auto index = attribute(sysfs / "index"); !index.empty()) {
        node.index = std::move(index);
    }
    // Only a device is opened, and without waiting: a node that is busy must not hold discovery up.
    const int descriptor = isDevice ? ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
    if (descriptor >= 0) {
        v4l2_capability capability{};
        const int result = ::ioctl(descriptor, VIDIOC_QUERYCAP, &capability);
        ::close(descriptor);
        if (result != 0) {
            return std::nullopt;  // no V4L2 device
        }
        node.capabilities =
            (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0U ? capability.device_caps : capability.capabilities;
        node.card = fieldText(capability.card, sizeof capability.card);
        node.busInfo = fieldText(capability.bus_info, sizeof capability.bus_info);
    } else {
        // One unplugged since the listing has left sysfs too, and with it its name.
        node.openable = false;
        node.card = attribute(sysfs / "name");
        node.busInfo = kernelBusInfo(sysfs / "device");
    }
    node.usb = usbDevice(sysfs / "device");
    node.onPlatformBus =
        !node.usb && node.busInfo.starts_with("platform:") && !node.busInfo.starts_with("platform:v4l2loopback");
    return node;
}

std::vector<V4l2CaptureDevices::Node> V4l2CaptureDevices::nodes() const {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_deviceDirectory, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::vector<Node> found;
    for (const auto& name : videoNodeNames(names)) {
        if (auto node = readNode(name)) {
            found.push_back(std::move(*node));
        }
    }
    return found;
}

std::optional<V4l2CaptureDevices::Located> V4l2CaptureDevices::locate(const std::string& uniqueID) const {
    static const std::vector<std::string_view> allTypes{
        CaptureDeviceType::builtInWideAngleCamera, CaptureDeviceType::external, CaptureDeviceType::continuityCamera,
        CaptureDeviceType::deskViewCamera};
    for (const auto& node : nodes()) {
        if (auto device = describe(node, allTypes); device && device->uniqueID == uniqueID) {
            return Located{std::move(*device), m_deviceDirectory / node.name};
        }
    }
    return std::nullopt;
}

std::vector<CaptureDevice> V4l2CaptureDevices::discoverDevices(const std::vector<std::string_view>& deviceTypes) const {
    std::vector<CaptureDevice> devices;
    for (const auto& node : nodes()) {
        if (auto device = describe(node, deviceTypes)) {
            devices.push_back(std::move(*device));
        }
    }
    return devices;
}

}  // namespace moritane
