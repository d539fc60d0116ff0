#pragma once

#include "sources/CameraAuthorization.h"
#include "sources/Workspace.h"
#include "support/NotificationCenter.h"
#include "support/Published.h"

#include <memory>
#include <string_view>

namespace moritane {

/// Mirrors the system's camera permission, renewed each time the application comes to the
/// front. It never asks for the permission itself. Main thread.
class CameraPermission : public std::enable_shared_from_this<CameraPermission> {
public:
    static std::shared_ptr<CameraPermission> create(const CameraAuthorization& authorization,
                                                    NotificationCenter& notificationCenter);

    Published<AuthorizationStatus> status;

    /// Reads the status again and publishes it only when it changed.
    void refresh();

    /// Whether the user refused access or it is restricted, as last read.
    [[nodiscard]] bool isDenied() const;

private:
    CameraPermission(const CameraAuthorization& authorization, AuthorizationStatus initial)
        : status(initial), m_authorization(authorization) {}

    const CameraAuthorization& m_authorization;
};

inline constexpr std::string_view cameraPrivacySettingsURL =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Camera";
inline constexpr std::string_view extensionSettingsURL =
    "x-apple.systempreferences:com.apple.LoginItems-Settings.extension";

/// Opens the system's camera privacy settings; a failure goes unnoticed.
void openCameraPrivacySettings(Workspace& workspace);

/// Opens the system's settings for camera extensions, or the camera privacy settings where the
/// system has none.
void openExtensionSettings(Workspace& workspace);

}  // namespace moritane
