#pragma once

#include "platform/linux/V4l2CaptureDevices.h"
#include "sources/CameraAuthorization.h"

#include <filesystem>

namespace moritane {

/// Camera permission on Linux is the right to open the cameras' device nodes (membership of the
/// video group, or the seat's access list), which nobody can be asked for. Denied while a camera's
/// capture node is there that this user cannot open; authorised otherwise, also with no camera.
class DeviceNodeCameraAuthorization final : public CameraAuthorization {
public:
    explicit DeviceNodeCameraAuthorization(std::filesystem::path deviceDirectory = "/dev",
                                           std::filesystem::path sysfsClassDirectory = "/sys/class/video4linux")
        : m_nodes(std::move(deviceDirectory), std::move(sysfsClassDirectory)) {}

    [[nodiscard]] AuthorizationStatus authorizationStatus() const override;

    /// There is no one to ask: the answer is the status now, given at once on the calling thread.
    void requestAccess(std::function<void(bool granted)> completion) override;

private:
    V4l2CaptureDevices m_nodes;
};

}  // namespace moritane
