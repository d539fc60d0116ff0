#include "platform/linux/DeviceNodeCameraAuthorization.h"

namespace moritane {

AuthorizationStatus DeviceNodeCameraAuthorization::authorizationStatus() const {
    for (const auto& node : m_nodes.nodes()) {
        // The virtual camera's own node is no camera the user would miss.
        if (!node.openable && V4l2CaptureDevices::isCaptureNode(node) && node.card != virtualCameraName) {
            return AuthorizationStatus::denied;
        }
    }
    return AuthorizationStatus::authorized;
}

void DeviceNodeCameraAuthorization::requestAccess(std::function<void(bool granted)> completion) {
    completion(authorizationStatus() == AuthorizationStatus::authorized);
}

}  // namespace moritane
