#include "shell/model/OnboardingModel.h"

namespace moritane {

std::vector<OnboardingStep> makeOnboardingSteps(const SystemExtensionInstaller::Status& status, bool cameraAuthorized) {
    using Case = SystemExtensionInstaller::Status::Case;
    const auto kind = status.kind();
    const bool activated = kind == Case::activated;
    const bool installed = activated || kind == Case::needsUserApproval;

    std::vector<OnboardingStep> steps(3);
    steps[0] = {1, "onboarding.step1.title", "onboarding.step1.detail", installed, "onboarding.step1.action",
                OnboardingAction::activateExtension, true,
                // A failed attempt leaves the button enabled: it is the retry.
                !installed && kind != Case::requesting};
    steps[1] = {2,
                "onboarding.step2.title",
                "onboarding.step2.detail",
                activated,
                "onboarding.step2.action",
                OnboardingAction::openExtensionSettings,
                true,
                true};
    steps[2] = {3,
                "onboarding.step3.title",
                "onboarding.step3.detail",
                cameraAuthorized,
                "onboarding.step3.action",
                OnboardingAction::cameraStep,
                !cameraAuthorized,
                true};
    return steps;
}

bool openExtensionSettingsPane(Workspace& workspace, Log& log) {
    for (const auto url : extensionSettingsURLs) {
        if (workspace.openURL(url)) {
            return true;
        }
    }
    log.write("[Onboarding] Failed to open System Settings extension pane via known URLs");
    return false;
}

void runCameraStep(CameraAuthorization& authorization, Workspace& workspace, RunLoop& mainQueue,
                   std::function<void(bool granted)> setCameraAuthorized) {
    if (authorization.authorizationStatus() != AuthorizationStatus::notDetermined) {
        openCameraPrivacySettings(workspace);
        return;
    }
    // The answer comes on a thread of the system's choice.
    authorization.requestAccess([&mainQueue, set = std::move(setCameraAuthorized)](bool granted) {
        mainQueue.post([set, granted] { set(granted); });
    });
}

}  // namespace moritane
