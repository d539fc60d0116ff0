#include "platform/linux/V4l2CaptureDevices.h"

#include "platform/linux/KernelVersion.h"
#include "platform/linux/UdevCameraMonitor.h"
#include "platform/sim/CapturingLog.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <linux/videodev2.h>

namespace moritane {
namespace {

namespace Type = CaptureDeviceType;

const std::vector<std::string_view> kModernTypes{Type::builtInWideAngleCamera, Type::external, Type::continuityCamera,
                                                 Type::deskViewCamera};
const std::vector<std::string_view> kOlderTypes{Type::builtInWideAngleCamera, Type::externalUnknown};

V4l2CaptureDevices::Node usbNode(std::string serial, std::string removable = "removable") {
    V4l2CaptureDevices::Node node;
    node.name = "video4";
    node.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    node.card = "HD Pro Webcam C920";
    node.busInfo = "usb-0000:00:14.0-2";
    node.usb = V4l2CaptureDevices::Node::Usb{"046d", "082d", std::move(serial), "1-2", std::move(removable)};
    return node;
}

TEST(V4l2CaptureDevicesTest, VideoNodesAreTakenInTheOrderOfTheirNumbers) {
    EXPECT_EQ(V4l2CaptureDevices::videoNodeNames(
                  {"video10", "null", "video2", "video", "videox", "video1a", "video0", "vhost-net", "v4l"}),
              (std::vector<std::string>{"video0", "video2", "video10"}));
}

TEST(V4l2CaptureDevicesTest, OnlyNodesThatCaptureVideoAreCameras) {
    auto node = usbNode("ABC");
    for (const auto& [capabilities, camera] :
         std::vector<std::pair<std::uint32_t, bool>>{{V4L2_CAP_VIDEO_CAPTURE, true},
                                                     {V4L2_CAP_VIDEO_CAPTURE_MPLANE, true},
                                                     {V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING, false},
                                                     {V4L2_CAP_VIDEO_OUTPUT, false},
                                                     {V4L2_CAP_VIDEO_M2M, false}}) {
        node.capabilities = capabilities;
        EXPECT_EQ(V4l2CaptureDevices::describe(node, kModernTypes).has_value(), camera) << capabilities;
    }
}

TEST(V4l2CaptureDevicesTest, IdsComeFromThePhysicalDeviceNotFromTheNodeNumber) {
    auto serialNode = usbNode("8F3A2C1E");
    const auto serialId = V4l2CaptureDevices::describe(serialNode, kModernTypes)->uniqueID;
    EXPECT_EQ(serialId, "usb-046d:082d-8F3A2C1E-0");
    serialNode.name = "video0";
    serialNode.usb->port = "3-1";
    EXPECT_EQ(V4l2CaptureDevices::describe(serialNode, kModernTypes)->uniqueID, serialId);  // replugged elsewhere

    auto portNode = usbNode("");
    EXPECT_EQ(V4l2CaptureDevices::describe(portNode, kModernTypes)->uniqueID, "usb-046d:082d-port1-2-0");
    portNode.usb.reset();
    portNode.busInfo = "PCI:0000:03:00.0";
    portNode.index = "1";
    EXPECT_EQ(V4l2CaptureDevices::describe(portNode, kModernTypes)->uniqueID, "PCI:0000:03:00.0-1");
    portNode.busInfo.clear();
    EXPECT_EQ(V4l2CaptureDevices::describe(portNode, kModernTypes)->uniqueID, "video4");
}

TEST(V4l2CaptureDevicesTest, TheBusDecidesBuiltInOrExternalInTheTypesAskedFor) {
    EXPECT_EQ(V4l2CaptureDevices::describe(usbNode("s"), kModernTypes)->deviceType, Type::external);
    EXPECT_EQ(V4l2CaptureDevices::describe(usbNode("s"), kOlderTypes)->deviceType, Type::externalUnknown);
    EXPECT_EQ(V4l2CaptureDevices::describe(usbNode("s", "fixed"), kOlderTypes)->deviceType,
              Type::builtInWideAngleCamera);
    auto platformNode = usbNode("s");
    platformNode.usb.reset();
    platformNode.onPlatformBus = true;
    EXPECT_EQ(V4l2CaptureDevices::describe(platformNode, kModernTypes)->deviceType, Type::builtInWideAngleCamera);
    EXPECT_FALSE(V4l2CaptureDevices::describe(platformNode, {Type::external}));
}

TEST(V4l2CaptureDevicesTest, CardNamesWithOddBytesBecomeText) {
    auto node = usbNode("s");
    node.card = "Cam\xff\xfe era";
    EXPECT_EQ(V4l2CaptureDevices::describe(node, kModernTypes)->localizedName, "Cam\xEF\xBF\xBD\xEF\xBF\xBD era");
}

TEST(V4l2CaptureDevicesTest, KernelReleasesParseToVersions) {
    EXPECT_EQ(parseKernelRelease("6.1.0-18-amd64"), (OperatingSystemVersion{6, 1, 0}));
    EXPECT_EQ(parseKernelRelease("5.15"), (OperatingSystemVersion{5, 15, 0}));
    EXPECT_EQ(parseKernelRelease("garbage"), (OperatingSystemVersion{0, 0, 0}));
    EXPECT_TRUE(V4l2CaptureDevices().operatingSystemVersion().isAtLeast({3, 0, 0}));
}

// Nodes that are no devices (gone, not openable, not answering the driver's question) are passed
// over without a sound.
TEST(V4l2CaptureDevicesTest, NodesThatAreNoCamerasAreSkipped) {
    const testing::TemporaryDirectory directory;
    testing::writeFile(directory / "video0", "a plain file answers no ioctl");
    std::filesystem::create_symlink(directory / "gone", directory / "video1");
    std::filesystem::create_directory(directory / "video2");
    const V4l2CaptureDevices devices(directory.path(), directory / "sys");
    EXPECT_TRUE(devices.discoverDevices(kModernTypes).empty());
    EXPECT_TRUE(V4l2CaptureDevices(directory / "missing").discoverDevices(kModernTypes).empty());
}

TEST(UdevCameraMonitorTest, AddAndRemoveAreTheOnlyActionsThatCount) {
    EXPECT_EQ(UdevCameraMonitor::notificationFor("add"), CaptureDevices::wasConnectedNotification);
    EXPECT_EQ(UdevCameraMonitor::notificationFor("remove"), CaptureDevices::wasDisconnectedNotification);
    EXPECT_EQ(UdevCameraMonitor::notificationFor("change"), std::nullopt);
    EXPECT_EQ(UdevCameraMonitor::notificationFor("bind"), std::nullopt);
}

TEST(UdevCameraMonitorTest, StartsAndStopsCleanly) {
    NotificationCenter center;
    CapturingLog log;
    for (int round = 0; round < 3; ++round) {
        const UdevCameraMonitor monitor(center, log);
        EXPECT_EQ(log.lines().empty(), monitor.isWatching());
        log.clear();
    }
}

}  // namespace
}  // namespace moritane
