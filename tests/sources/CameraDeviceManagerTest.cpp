#include "sources/CameraDeviceManager.h"

#include "platform/sim/FakeCaptureDevices.h"
#include "platform/sim/ManualDispatchQueue.h"
#include "platform/sim/ManualRunLoop.h"
#include "support/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace moritane {
namespace {

namespace Type = CaptureDeviceType;

CaptureDevice device(std::string id, std::string name, std::string_view type = Type::external) {
    return {std::move(id), std::move(name), std::string(type)};
}

class CameraDeviceManagerTest : public ::testing::Test {
protected:
    std::shared_ptr<CameraDeviceManager> make() {
        return CameraDeviceManager::create({devices, center, loop, [this](std::string label) {
                                                auto made = std::make_unique<ManualDispatchQueue>(std::move(label));
                                                queue = made.get();
                                                return made;
                                            }});
    }

    FakeCaptureDevices devices;
    NotificationCenter center;
    ManualRunLoop loop;
    ManualDispatchQueue* queue = nullptr;
};

TEST_F(CameraDeviceManagerTest, TheExactVirtualCameraNameIsLeftOutAndOlderSystemsAskForTheOldTypes) {
    devices.setDevices({device("b", "FaceTime HD Camera", Type::builtInWideAngleCamera), device("v", "Moritane"),
                        device("m1", "moritane"), device("m2", "Moritane Pro"),
                        device("phone", "iPhone Camera", Type::continuityCamera),
                        device("desk", "Desk View", Type::deskViewCamera), device("b2", "FaceTime HD Camera"),
                        device("other", "Moritane", Type::builtInWideAngleCamera),
                        device("x", "External", Type::externalUnknown)});
    struct Case {
        OperatingSystemVersion version;
        std::vector<std::string> types;
        std::vector<CameraInfo> cameras;
    };
    for (const auto& [version, types, cameras] :
         std::vector<Case>{{{14, 0, 0},
                            {"AVCaptureDeviceTypeBuiltInWideAngleCamera", "AVCaptureDeviceTypeExternal",
                             "AVCaptureDeviceTypeContinuityCamera", "AVCaptureDeviceTypeDeskViewCamera"},
                            {{"b", "FaceTime HD Camera", false},
                             {"m1", "moritane", false},
                             {"m2", "Moritane Pro", false},
                             {"phone", "iPhone Camera", true},
                             {"desk", "Desk View", false},
                             {"b2", "FaceTime HD Camera", false}}},
                           {{13, 6, 9},
                            {"AVCaptureDeviceTypeBuiltInWideAngleCamera", "AVCaptureDeviceTypeExternalUnknown"},
                            {{"b", "FaceTime HD Camera", false}, {"x", "External", false}}}}) {
        devices.setVersion(version);
        const auto manager = make();
        ASSERT_EQ(queue->runAll(), 1U);
        EXPECT_TRUE(manager->cameras.value().empty());  // not before the main queue runs
        loop.drainMain();
        EXPECT_EQ(devices.discoveries().back().deviceTypes, types);
        EXPECT_EQ(manager->cameras.value(), cameras);
    }
}

TEST_F(CameraDeviceManagerTest, EachNotificationRefreshesOnceAndEveryResultIsPublishedInTurn) {
    const auto manager = make();
    std::vector<std::size_t> published;
    const auto subscription = manager->cameras.subscribe(
        [&](const std::vector<CameraInfo>& cameras) { published.push_back(cameras.size()); });
    for (int event = 0; event < 3; ++event) {
        center.post(CaptureDevices::wasConnectedNotification);
        center.post(CaptureDevices::wasDisconnectedNotification);
    }
    EXPECT_EQ(queue->pending(), 7U);  // the first refresh and one per notification, none merged
    std::vector<CaptureDevice> present;
    while (queue->pending() > 0) {
        queue->runOne();
        present.push_back(device("id" + std::to_string(present.size()), "Camera"));  // what the next one finds
        devices.setDevices(present);
    }
    loop.drainMain();
    // An equal list is published all the same: the first refresh finds none, as before.
    EXPECT_EQ(published, (std::vector<std::size_t>{0, 0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(manager->cameras.value().size(), 6U);
}

TEST_F(CameraDeviceManagerTest, AManagerThatIsGoneNeitherPublishesNorListens) {
    auto manager = make();
    auto* const firstQueue = queue;
    center.post(CaptureDevices::wasConnectedNotification);
    firstQueue->runOne();
    manager.reset();  // its queue goes with it; what was published on the way is dropped
    EXPECT_EQ(loop.drainMain(), 1U);
    center.post(CaptureDevices::wasDisconnectedNotification);  // must not reach the freed manager
    EXPECT_EQ(loop.pendingWork(), 0U);
}

// The three kinds of thread: notifications posted from a system thread, discovery on its own
// serial queue, the list assigned on the main thread.
using CameraDeviceManagerThreadsTest = CameraDeviceManagerTest;

TEST_F(CameraDeviceManagerThreadsTest, NotificationsFromAnotherThreadEndInOrderOnTheMainThread) {
    const auto manager = CameraDeviceManager::create(
        {devices, center, loop, [](std::string label) { return std::make_unique<SerialQueue>(std::move(label)); }});
    std::vector<bool> onMain;
    const auto subscription = manager->cameras.subscribe([&](const auto&) { onMain.push_back(loop.isMainThread()); });
    devices.setDevices({device("usb-1", "Cam")});
    std::thread system([&] {
        for (int event = 0; event < 20; ++event) {
            center.post(event % 2 == 0 ? CaptureDevices::wasConnectedNotification
                                       : CaptureDevices::wasDisconnectedNotification);
        }
    });
    const auto poster = system.get_id();
    system.join();
    while (onMain.size() < 22) {  // the present value, the first refresh and twenty more
        loop.waitAndDrainMain();
    }
    EXPECT_EQ(onMain, std::vector<bool>(22, true));
    EXPECT_EQ(manager->cameras.value().size(), 1U);
    for (const auto& discovery : devices.discoveries()) {
        EXPECT_NE(discovery.thread, std::this_thread::get_id());
        EXPECT_NE(discovery.thread, poster);
        EXPECT_EQ(discovery.thread, devices.discoveries()[0].thread);
    }
}

}  // namespace
}  // namespace moritane
