#pragma once

#include "camera/CameraManager.h"
#include "sources/CameraAuthorization.h"
#include "support/Defaults.h"
#include "support/DispatchQueue.h"
#include "support/Log.h"
#include "support/Published.h"
#include "support/RunLoop.h"
#include "support/SharedInstance.h"

#include <functional>
#include <memory>
#include <vector>

namespace moritane {

/// The wiring point of the application: the order in which it comes up, and what it does when it
/// comes to the front. Main thread.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
public:
    /// What the start-up reaches. Each action stands for the operation of the part that owns it.
    struct Collaborators {
        SharedInstance<CameraManager>& cameraManager;
        Defaults& defaults;
        CameraAuthorization& cameraAuthorization;
        DispatchQueue& utilityQueue;
        RunLoop& mainQueue;
        Log& log;
        /// The updater's own "can check for updates" property.
        Published<bool>& updaterCanCheckForUpdates;

        std::function<void()> setAccessoryActivationPolicy;
        /// Makes the status item; its first reading of the mode makes the camera manager.
        std::function<void()> setupStatusItem;
        std::function<void(Constants::CameraMode)> updateStatusIcon;
        std::function<void()> showOnboarding;
        std::function<void()> activateExtensionIfNeeded;
        std::function<void()> refreshExtensionStatus;
        /// Makes the camera discovery, which starts listing cameras.
        std::function<void()> startCameraDiscovery;
        std::function<void()> attachCameraShortcuts;
    };

    static std::shared_ptr<AppDelegate> create(Collaborators collaborators);

    void applicationDidFinishLaunching();
    void applicationDidBecomeActive();

    /// Mirror of the updater's property, as of the last delivery on the main queue.
    [[nodiscard]] bool canCheckForUpdates() const { return m_canCheckForUpdates; }

    static constexpr std::string_view hasCompletedOnboardingKey = "hasCompletedOnboarding";

private:
    explicit AppDelegate(Collaborators collaborators) : m_collaborators(std::move(collaborators)) {}

    /// Runs on the utility queue and touches nothing of the delegate's.
    static void requestCameraPermissionIfNeeded(CameraAuthorization& authorization, Log& log);

    Collaborators m_collaborators;
    std::vector<Subscription> m_cancellables;
    bool m_canCheckForUpdates = false;
};

}  // namespace moritane
