#pragma once

#include "extension/SystemExtensionInstaller.h"
#include "sources/CameraAuthorization.h"
#include "sources/CameraPermission.h"
#include "sources/Workspace.h"
#include "support/Log.h"
#include "support/RunLoop.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

enum class OnboardingAction { activateExtension, openExtensionSettings, cameraStep };

/// One numbered step of the onboarding window, as it stands.
struct OnboardingStep {
    std::int64_t number = 0;
    std::string titleKey;
    std::string detailKey;
    bool isComplete = false;
    std::string actionKey;
    OnboardingAction action = OnboardingAction::activateExtension;
    bool showsAction = true;
    bool isActionEnabled = true;

    friend bool operator==(const OnboardingStep&, const OnboardingStep&) = default;
};

/// The three steps, in order. They don't gate one another.
std::vector<OnboardingStep> makeOnboardingSteps(const SystemExtensionInstaller::Status& status, bool cameraAuthorized);

/// Where the system keeps the approval of extensions, newest system first.
inline constexpr std::array<std::string_view, 2> extensionSettingsURLs{
    extensionSettingsURL,
    "x-apple.systempreferences:com.apple.preference.security?Extensions",
};

/// Opens the first of `extensionSettingsURLs` that opens. False, logged, when none did: the
/// caller then tells the user.
[[nodiscard]] bool openExtensionSettingsPane(Workspace& workspace, Log& log);

/// Asks for camera access when the user was never asked, with the answer given to
/// `setCameraAuthorized` on `mainQueue`; otherwise only the system can change it, so the camera
/// privacy settings open.
void runCameraStep(CameraAuthorization& authorization, Workspace& workspace, RunLoop& mainQueue,
                   std::function<void(bool granted)> setCameraAuthorized);

}  // namespace moritane
