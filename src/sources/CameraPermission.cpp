#include "sources/CameraPermission.h"

namespace moritane {

std::shared_ptr<CameraPermission> CameraPermission::create(const CameraAuthorization& authorization,
                                                           NotificationCenter& notificationCenter) {
    std::shared_ptr<CameraPermission> permission(
        new CameraPermission(authorization, authorization.authorizationStatus()));
    // Never removed: the shared instance lives as long as the process.
    notificationCenter.addObserver(std::string(applicationDidBecomeActiveNotification),
                                   [weak = permission->weak_from_this()](const Notification&) {
                                       if (auto self = weak.lock()) {
                                           self->refresh();
                                       }
                                   });
    return permission;
}

void CameraPermission::refresh() {
    const auto current = m_authorization.authorizationStatus();
    if (current != status.value()) {
        status = current;
    }
}

bool CameraPermission::isDenied() const {
    return status.value() == AuthorizationStatus::denied || status.value() == AuthorizationStatus::restricted;
}

void openCameraPrivacySettings(Workspace& workspace) {
    workspace.openURL(cameraPrivacySettingsURL);
}

void openExtensionSettings(Workspace& workspace) {
    if (!workspace.openURL(extensionSettingsURL)) {
        openCameraPrivacySettings(workspace);
    }
}

}  // namespace moritane
