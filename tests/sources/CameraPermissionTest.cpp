#include "sources/CameraPermission.h"

#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/FakeWorkspace.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(CameraPermissionTest, TheStatusIsRenewedWhenTheApplicationBecomesActiveAndOnlyRefusedOrRestrictedIsDenied) {
    using enum AuthorizationStatus;
    NotificationCenter center;
    FakeCameraAuthorization authorization;
    authorization.status = restricted;
    const auto permission = CameraPermission::create(authorization, center);
    std::vector<AuthorizationStatus> told;
    const auto subscription = permission->status.subscribe([&](AuthorizationStatus status) { told.push_back(status); });
    EXPECT_TRUE(permission->isDenied());
    authorization.status = authorized;
    EXPECT_EQ(permission->status.value(), restricted);
    for (const auto& [status, refused] : std::vector<std::pair<AuthorizationStatus, bool>>{
             {authorized, false}, {authorized, false}, {notDetermined, false}, {denied, true}}) {
        authorization.status = status;
        center.post(applicationDidBecomeActiveNotification);
        EXPECT_EQ(permission->isDenied(), refused);
    }
    EXPECT_EQ(told, (std::vector{restricted, authorized, notDetermined, denied}));  // no change, no news
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
