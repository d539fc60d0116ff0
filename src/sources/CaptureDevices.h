#pragma once

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace moritane {

/// The name under which the virtual camera shows itself to the system; no physical camera list
/// may hold a device of exactly this name.
inline constexpr std::string_view virtualCameraName = "Moritane";

/// The kinds of video device a discovery can ask for, by the platform's names.
namespace CaptureDeviceType {
inline constexpr std::string_view builtInWideAngleCamera = "AVCaptureDeviceTypeBuiltInWideAngleCamera";
inline constexpr std::string_view external = "AVCaptureDeviceTypeExternal";
/// The older systems' name for external devices.
inline constexpr std::string_view externalUnknown = "AVCaptureDeviceTypeExternalUnknown";
inline constexpr std::string_view continuityCamera = "AVCaptureDeviceTypeContinuityCamera";
inline constexpr std::string_view deskViewCamera = "AVCaptureDeviceTypeDeskViewCamera";
}  // namespace CaptureDeviceType

/// One video capture device as the system lists it at a moment.
struct CaptureDevice {
    /// Stays the same for the same physical device across reconnections and restarts.
    std::string uniqueID;
    std::string localizedName;
    /// One of the CaptureDeviceType names.
    std::string deviceType;

    friend bool operator==(const CaptureDevice&, const CaptureDevice&) = default;
};

struct OperatingSystemVersion {
    int major = 0;
    int minor = 0;
    int patch = 0;

    friend bool operator==(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
    [[nodiscard]] bool isAtLeast(const OperatingSystemVersion& other) const {
        return std::tie(major, minor, patch) >= std::tie(other.major, other.minor, other.patch);
    }
};

/// The system's video capture devices. A device that comes or goes is announced on the process's
/// notification centre under `wasConnectedNotification` or `wasDisconnectedNotification`, posted
/// from a thread of the system's choice.
class CaptureDevices {
public:
    static constexpr std::string_view wasConnectedNotification = "AVCaptureDeviceWasConnectedNotification";
    static constexpr std::string_view wasDisconnectedNotification = "AVCaptureDeviceWasDisconnectedNotification";

    virtual ~CaptureDevices() = default;

    /// A fresh discovery: the video devices of the given types present now, in the system's order.
    /// May take a while; any thread.
    [[nodiscard]] virtual std::vector<CaptureDevice> discoverDevices(
        const std::vector<std::string_view>& deviceTypes) const = 0;

    /// The version of the system, which decides which device types exist.
    [[nodiscard]] virtual OperatingSystemVersion operatingSystemVersion() const = 0;
};

}  // namespace moritane
