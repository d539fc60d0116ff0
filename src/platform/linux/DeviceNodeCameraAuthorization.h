#pragma once

#include "sources/CameraAuthorization.h"

#include <filesystem>

namespace moritane {

/// Camera permission on Linux is the right to open the video device nodes (membership of the
/// video group, or the seat's access list). Authorised when a node can be opened for reading and
/// writing, denied when nodes exist but none can, not determined while there is no node at all.
class DeviceNodeCameraAuthorization final : public CameraAuthorization {
public:
    explicit DeviceNodeCameraAuthorization(std::filesystem::path deviceDirectory = "/dev")
        : m_deviceDirectory(std::move(deviceDirectory)) {}

    [[nodiscard]] AuthorizationStatus authorizationStatus() const override;

    /// There is no one to ask: the answer is the status now, given at once on the calling thread.
    void requestAccess(std::function<void(bool granted)> completion) override;

private:
    std::filesystem::path m_deviceDirectory;
};

}  // namespace moritane
