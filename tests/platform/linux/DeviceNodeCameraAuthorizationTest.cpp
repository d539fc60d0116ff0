#include "platform/linux/DeviceNodeCameraAuthorization.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(DeviceNodeCameraAuthorizationTest, NoVideoNodeMeansNotDetermined) {
    const testing::TemporaryDirectory devices;
    testing::writeFile(devices / "video0", "a regular file is no device");
    std::filesystem::create_symlink("/dev/null", devices / "null");
    const DeviceNodeCameraAuthorization authorization(devices.path());
    EXPECT_EQ(authorization.authorizationStatus(), AuthorizationStatus::notDetermined);
}

TEST(DeviceNodeCameraAuthorizationTest, AnOpenableCharacterDeviceAuthorisesAndRequestsAnswerAtOnce) {
    const testing::TemporaryDirectory devices;
    std::filesystem::create_symlink("/dev/null", devices / "video3");  // a character device we may open
    DeviceNodeCameraAuthorization authorization(devices.path());
    EXPECT_EQ(authorization.authorizationStatus(), AuthorizationStatus::authorized);
    std::optional<bool> answer;
    authorization.requestAccess([&](bool granted) { answer = granted; });
    EXPECT_EQ(answer, true);
}

TEST(DeviceNodeCameraAuthorizationTest, AMissingDeviceDirectoryIsNotDetermined) {
    DeviceNodeCameraAuthorization authorization("/nonexistent/dev");
    EXPECT_EQ(authorization.authorizationStatus(), AuthorizationStatus::notDetermined);
    std::optional<bool> answer;
    authorization.requestAccess([&](bool granted) { answer = granted; });
    EXPECT_EQ(answer, false);
}

}  // namespace
}  // namespace moritane
