#include "camera/AppDelegate.h"

#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/ManualDispatchQueue.h"
#include "testsupport/CoreFixture.h"

namespace moritane {
namespace {

using Constants::CameraMode;

class AppDelegateTest : public testing::CoreFixture {
protected:
    std::shared_ptr<AppDelegate> makeDelegate() {
        return AppDelegate::create({
            .cameraManager = camera,
            .defaults = defaults,
            .cameraAuthorization = authorization,
            .utilityQueue = utilityQueue,
            .mainQueue = loop,
            .log = log,
            .updaterCanCheckForUpdates = updaterCanCheck,
            .setAccessoryActivationPolicy = [this] { steps.emplace_back("activation policy"); },
            .setupStatusItem =
                [this] {
                    steps.emplace_back("status item");
                    if (statusItemHasButton) {
                        icons.push_back(camera.get().currentMode.value());
                    }
                },
            .updateStatusIcon = [this](CameraMode mode) { icons.push_back(mode); },
            .showOnboarding = [this] { steps.emplace_back("onboarding"); },
            .activateExtensionIfNeeded = [this] { steps.emplace_back("activate extension"); },
            .refreshExtensionStatus = [this] { steps.emplace_back("refresh extension status"); },
            .startCameraDiscovery = [this] { steps.emplace_back("camera discovery"); },
            .attachCameraShortcuts =
                [this] { steps.emplace_back(camera.isMade() ? "shortcuts (manager made)" : "shortcuts (no manager)"); },
        });
    }

    FakeCameraAuthorization authorization;
    ManualDispatchQueue utilityQueue{"utility"};
    Published<bool> updaterCanCheck{false};
    bool statusItemHasButton = true;
    std::vector<std::string> steps;
    std::vector<CameraMode> icons;
};

TEST_F(AppDelegateTest, FirstLaunchShowsOnboardingAndLeavesExtensionAndPermissionAlone) {
    const auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(steps, (std::vector<std::string>{"activation policy", "status item", "onboarding", "camera discovery",
                                               "shortcuts (manager made)"}));
    EXPECT_EQ(utilityQueue.pending(), 0U);
}

TEST_F(AppDelegateTest, LaterLaunchActivatesTheExtensionThenAsksForAnUndecidedPermissionOnTheUtilityQueue) {
    defaults.setObject("hasCompletedOnboarding", true);
    for (const auto status : {AuthorizationStatus::restricted, AuthorizationStatus::denied,
                              AuthorizationStatus::authorized, AuthorizationStatus::notDetermined}) {
        authorization.status = status;
        steps.clear();
        makeDelegate()->applicationDidFinishLaunching();
        EXPECT_EQ(steps, (std::vector<std::string>{"activation policy", "status item", "activate extension",
                                                   "camera discovery", "shortcuts (manager made)"}));
        EXPECT_EQ(authorization.pendingRequests(), 0U);
        utilityQueue.runAll();
        EXPECT_EQ(authorization.pendingRequests(), status == AuthorizationStatus::notDetermined ? 1U : 0U);
    }
    authorization.answer(false);
    EXPECT_EQ(log.lines().back(), "Camera permission granted: false");
    makeDelegate()->applicationDidFinishLaunching();
    utilityQueue.runAll();
    authorization.answer(true);
    EXPECT_EQ(log.lines().back(), "Camera permission granted: true");
}

TEST_F(AppDelegateTest, TheIconFollowsTheModeOnLaterTurnsOfTheMainQueueWhileTheDelegateLives) {
    writeState(R"({"mode":"image","selectedImageId":"11111111-2222-4333-8444-555555555555"})");
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(icons, std::vector<CameraMode>{CameraMode::image});  // set by the status item itself
    loop.drainMain();
    EXPECT_EQ(icons, (std::vector<CameraMode>{CameraMode::image, CameraMode::image}));
    camera.get().switchToCamera();
    EXPECT_EQ(icons.size(), 2U);
    loop.drainMain();
    EXPECT_EQ(icons.back(), CameraMode::camera);
    delegate.reset();  // held weakly by its subscriptions
    camera.get().turnOff();
    loop.drainMain();
    EXPECT_EQ(icons.back(), CameraMode::camera);
}

TEST_F(AppDelegateTest, WithoutAStatusItemButtonTheManagerIsMadeForTheIconSubscription) {
    statusItemHasButton = false;
    const auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(camera.isMade());
    EXPECT_EQ(steps.back(), "shortcuts (manager made)");
}

TEST_F(AppDelegateTest, CanCheckForUpdatesMirrorsTheUpdaterAfterTheMainQueueDelivers) {
    updaterCanCheck = true;
    const auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    EXPECT_FALSE(delegate->canCheckForUpdates());
    loop.drainMain();
    EXPECT_TRUE(delegate->canCheckForUpdates());
    updaterCanCheck = false;
    loop.drainMain();
    EXPECT_FALSE(delegate->canCheckForUpdates());
}

TEST_F(AppDelegateTest, BecomingActiveOnlyRefreshesTheExtensionStatus) {
    const auto delegate = makeDelegate();
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(steps, std::vector<std::string>{"refresh extension status"});
    EXPECT_FALSE(camera.isMade());
}

}  // namespace
}  // namespace moritane
