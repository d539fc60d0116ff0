#include "sources/CameraPermission.h"

#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/FakeWorkspace.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(CameraPermissionTest, OnlyRefusedAndRestrictedCountAsDenied) {
    NotificationCenter center;
    FakeCameraAuthorization authorization;
    for (const auto& [status, denied] :
         std::vector<std::pair<AuthorizationStatus, bool>>{{AuthorizationStatus::notDetermined, false},
                                                           {AuthorizationStatus::restricted, true},
                                                           {AuthorizationStatus::denied, true},
                                                           {AuthorizationStatus::authorized, false}}) {
        authorization.status = status;
        const auto permission = CameraPermission::create(authorization, center);
        EXPECT_EQ(permission->status.value(), status);
        EXPECT_EQ(permission->isDenied(), denied);
    }
}

TEST(CameraPermissionTest, TheStatusIsRenewedOnlyWhenTheApplicationBecomesActiveAndOnlyRealChangesPublish) {
    NotificationCenter center;
    FakeCameraAuthorization authorization;
    authorization.status = AuthorizationStatus::notDetermined;
    const auto permission = CameraPermission::create(authorization, center);
    std::vector<AuthorizationStatus> told;
    const auto subscription = permission->status.subscribe([&](AuthorizationStatus status) { told.push_back(status); });

    authorization.status = AuthorizationStatus::authorized;  // the user answered the launch request
    EXPECT_EQ(permission->status.value(), AuthorizationStatus::notDetermined);
    center.post(applicationDidBecomeActiveNotification);
    center.post(applicationDidBecomeActiveNotification);
    authorization.status = AuthorizationStatus::denied;
    center.post(applicationDidBecomeActiveNotification);
    EXPECT_EQ(told, (std::vector<AuthorizationStatus>{AuthorizationStatus::notDetermined,
                                                      AuthorizationStatus::authorized, AuthorizationStatus::denied}));
    EXPECT_TRUE(permission->isDenied());
}

TEST(CameraPermissionTest, ExtensionSettingsFallBackToTheCameraPrivacySettings) {
    FakeWorkspace workspace;
    openExtensionSettings(workspace);
    workspace.refused = {std::string(extensionSettingsURL), std::string(cameraPrivacySettingsURL)};
    openExtensionSettings(workspace);
    EXPECT_EQ(workspace.opened,
              (std::vector<std::string>{"x-apple.systempreferences:com.apple.LoginItems-Settings.extension",
                                        "x-apple.systempreferences:com.apple.LoginItems-Settings.extension",
                                        "x-apple.systempreferences:com.apple.preference.security?Privacy_Camera"}));
}

}  // namespace
}  // namespace moritane
