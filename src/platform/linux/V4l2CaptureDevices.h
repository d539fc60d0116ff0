#pragma once

#include "sources/CaptureDevices.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// The cameras behind the V4L2 device nodes: each /dev/video* node that captures video, named by
/// its driver's card name, with an id taken from the physical device (its USB serial number or
/// port) rather than from the node's number, which changes from one plug to the next. A camera
/// this user may not open is listed too, from what sysfs tells of it, so that it can be named.
class V4l2CaptureDevices final : public CaptureDevices {
public:
    /// What is known of one node, from the driver and from sysfs.
    struct Node {
        /// "video0".
        std::string name;
        /// Whether this user could open the node. When not, capabilities are unknown, the card
        /// name is the kernel's name of the node and the bus is worked out from sysfs.
        bool openable = true;
        std::uint32_t capabilities = 0;
        /// The driver's card name, as its 32 bytes came.
        std::string card;
        std::string busInfo;
        /// The node's number among its device's nodes ("index" in sysfs); "0" when unknown.
        std::string index = "0";
        struct Usb {
            std::string vendorId;
            std::string productId;
            std::string serial;
            /// The port path, such as "1-2.3": the same for the same socket across reboots.
            std::string port;
            /// The kernel's view of the port: "fixed" for a device wired inside the machine.
            std::string removable;
        };
        std::optional<Usb> usb;
        /// The node hangs off the SoC's own bus, as built-in cameras of boards and tablets do.
        bool onPlatformBus = false;
    };

    /// A camera that is connected now, and the node its pictures come from.
    struct Located {
        CaptureDevice device;
        std::filesystem::path path;
    };

    explicit V4l2CaptureDevices(std::filesystem::path deviceDirectory = "/dev",
                                std::filesystem::path sysfsClassDirectory = "/sys/class/video4linux");

    [[nodiscard]] std::vector<CaptureDevice> discoverDevices(
        const std::vector<std::string_view>& deviceTypes) const override;

    /// The kernel's release, such as 6.1.0.
    [[nodiscard]] OperatingSystemVersion operatingSystemVersion() const override;

    /// The video nodes present now, in the order of their numbers; those that answer as no V4L2
    /// device are left out. Never waits on a node or an attribute. Any thread.
    [[nodiscard]] std::vector<Node> nodes() const;

    /// The camera with `uniqueID` among the nodes present now, whatever its device type.
    [[nodiscard]] std::optional<Located> locate(const std::string& uniqueID) const;

    /// The names of the video nodes among `names`, in the order of their numbers.
    static std::vector<std::string> videoNodeNames(const std::vector<std::string>& names);

    /// Whether `node` is where a camera's pictures come from, rather than its metadata or output.
    static bool isCaptureNode(const Node& node);

    /// The device for `node`, or none when it captures no video or its type was not asked for.
    static std::optional<CaptureDevice> describe(const Node& node, const std::vector<std::string_view>& deviceTypes);

private:
    [[nodiscard]] std::optional<Node> readNode(const std::string& name) const;

    std::filesystem::path m_deviceDirectory;
    std::filesystem::path m_sysfsDirectory;
};

}  // namespace moritane
