#include "platform/linux/V4l2CaptureDevices.h"

#include "VideoNodeTree.h"
#include "platform/linux/KernelVersion.h"

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

std::optional<CaptureDevice> describe(const V4l2CaptureDevices::Node& node,
                                      const std::vector<std::string_view>& types = kModernTypes) {
    return V4l2CaptureDevices::describe(node, types);
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
        EXPECT_EQ(describe(node).has_value(), camera) << capabilities;
    }
}

// What sysfs tells of unopened nodes (the test below) is not repeated here.
TEST(V4l2CaptureDevicesTest, AnOpenedNodeIsNamedAsTextIdentifiedByItsDeviceAndTypedByItsBus) {
    auto node = usbNode("8F3A2C1E");
    node.card = "Cam\xff\xfe era";
    const auto id = describe(node)->uniqueID;
    EXPECT_EQ(describe(node)->localizedName, "Cam\xEF\xBF\xBD\xEF\xBF\xBD era");
    node.name = "video0";
    node.usb->port = "3-1";
    EXPECT_EQ(describe(node)->uniqueID, id);  // replugged elsewhere
    node.usb->serial.clear();
    EXPECT_EQ(describe(node)->uniqueID, "usb-046d:082d-port3-1-0");
    node.usb.reset();
    node.busInfo.clear();
    EXPECT_EQ(describe(node)->uniqueID, "video0");

    EXPECT_EQ(describe(usbNode("s"), kOlderTypes)->deviceType, Type::externalUnknown);
    EXPECT_EQ(describe(usbNode("s", "fixed"), kOlderTypes)->deviceType, Type::builtInWideAngleCamera);
    node.onPlatformBus = true;
    EXPECT_EQ(describe(node)->deviceType, Type::builtInWideAngleCamera);
    EXPECT_FALSE(describe(node, {Type::external}));
}

TEST(V4l2CaptureDevicesTest, KernelReleasesParseToVersions) {
    EXPECT_EQ(parseKernelRelease("6.1.0-18-amd64"), (OperatingSystemVersion{6, 1, 0}));
    EXPECT_EQ(parseKernelRelease("5.15"), (OperatingSystemVersion{5, 15, 0}));
    EXPECT_EQ(parseKernelRelease("garbage"), (OperatingSystemVersion{0, 0, 0}));
    EXPECT_TRUE(V4l2CaptureDevices().operatingSystemVersion().isAtLeast({3, 0, 0}));
}

// Unopened, a camera is named and identified from sysfs as its driver would have it.
TEST(V4l2CaptureDevicesTest, ACameraThatCannotBeOpenedIsListedFromWhatTheKernelTells) {
    const std::string usb = "pci0000:00/0000:00:14.0/usb1/1-2";
    const auto camera = [](std::string id, std::string name, std::string_view type) {
        return std::vector{CaptureDevice{std::move(id), std::move(name), std::string(type)}};
    };
    using Case = std::tuple<std::string, std::string, std::string, std::string, std::vector<CaptureDevice>>;
    for (const auto& [kernelName, index, device, bus, listed] : std::vector<Case>{
             {"C922", "0", usb + "/1-2:1.0", "usb", camera("usb-046d:085c-ABC1-0", "C922", Type::external)},
             {"C922", "1", usb + "/1-2:1.0", "usb", {}},  // its metadata node
             {"Hauppauge", "0", "pci0000:00/0000:03:00.0", "pci",
              camera("PCI:0000:03:00.0-0", "Hauppauge", Type::external)},
             {"unicam", "0", "platform/fe801000.csi", "platform",
              camera("platform:fe801000.csi-0", "unicam", Type::builtInWideAngleCamera)},
             {"", "0", "platform/fe801000.csi", "platform", {}},  // no device the kernel tells of
         }) {
        const testing::VideoNodeTree tree;
        tree.add("video0", testing::VideoNodeTree::Node::directory, kernelName, index, device);
        std::filesystem::create_directories(tree.root / "sys/bus" / bus);
        std::filesystem::create_directory_symlink(tree.root / "sys/bus" / bus, tree.devices / device / "subsystem");
        for (const auto& [attribute, value] :
             {std::pair{"idVendor", "046d"}, {"idProduct", "085c"}, {"serial", "ABC1"}, {"removable", "removable"}}) {
            testing::writeFile(tree.devices / usb / attribute, std::string(value) + "\n");
        }
        EXPECT_EQ(V4l2CaptureDevices(tree.dev, tree.sysfs).discoverDevices(kModernTypes), listed) << device;
    }
    // Without waiting for a writer, a pipe in place of the kernel's name reads as no name.
    const testing::VideoNodeTree tree;
    tree.add("video0", testing::VideoNodeTree::Node::directory, "", "0");
    std::filesystem::remove(tree.sysfs / "video0/name");
    ASSERT_EQ(::mkfifo((tree.sysfs / "video0/name").c_str(), 0600), 0);
    EXPECT_TRUE(V4l2CaptureDevices(tree.dev, tree.sysfs).discoverDevices(kModernTypes).empty());
}

}  // namespace
}  // namespace moritane
