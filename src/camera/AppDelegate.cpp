#include "camera/AppDelegate.h"

namespace moritane {

std::shared_ptr<AppDelegate> AppDelegate::create(Collaborators collaborators) {
    return std::shared_ptr<AppDelegate>(new AppDelegate(std::move(collaborators)));
}

void AppDelegate::applicationDidFinishLaunching() {
    auto& c = m_collaborators;
    c.setAccessoryActivationPolicy();
    c.setupStatusItem();
    if (c.defaults.boolean(hasCompletedOnboardingKey)) {
        c.activateExtensionIfNeeded();
        c.utilityQueue.async([&authorization = c.cameraAuthorization, &log = c.log] {
            requestCameraPermissionIfNeeded(authorization, log);
        });
    } else {
        // Onboarding leads the user to the extension and to the camera permission.
        c.showOnboarding();
    }
    m_cancellables.push_back(
        c.cameraManager.get().currentMode.subscribe(c.mainQueue, [weak = weak_from_this()](auto mode) {
            if (auto self = weak.lock()) {
                self->m_collaborators.updateStatusIcon(mode);
            }
        }));
    c.startCameraDiscovery();
    c.attachCameraShortcuts();
    m_cancellables.push_back(
        c.updaterCanCheckForUpdates.subscribe(c.mainQueue, [weak = weak_from_this()](bool canCheck) {
            if (auto self = weak.lock()) {
                self->m_canCheckForUpdates = canCheck;
            }
        }));
}

void AppDelegate::applicationDidBecomeActive() {
    m_collaborators.refreshExtensionStatus();
}

void AppDelegate::requestCameraPermissionIfNeeded(CameraAuthorization& authorization, Log& log) {
    if (authorization.authorizationStatus() != AuthorizationStatus::notDetermined) {
        return;
    }
    // The answer is only logged; the permission mirror reads the status by itself.
    authorization.requestAccess([&log](bool granted) {
        log.write(granted ? "Camera permission granted: true" : "Camera permission granted: false");
    });
}

}  // namespace moritane
