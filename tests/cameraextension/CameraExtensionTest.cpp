#include "cameraextension/CameraExtension.h"

#include "library/SavedImage.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeCaptureDevices.h"
#include "platform/sim/FakeDirectoryWatcher.h"
#include "platform/sim/FakeImageDecoder.h"
#include "platform/sim/FakeVideoCapture.h"
#include "platform/sim/ManualDispatchQueue.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/RecordingFrameSink.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Change = DirectoryWatcher::Change;

constexpr std::array<std::uint8_t, 4> red{0, 0, 255, 255};
constexpr std::array<std::uint8_t, 4> green{0, 255, 0, 255};
constexpr std::array<std::uint8_t, 4> black{0, 0, 0, 255};

/// Scaling may darken a colour by two levels.
bool near(std::array<std::uint8_t, 4> pixel, std::array<std::uint8_t, 4> colour) {
    return std::equal(pixel.begin(), pixel.end(), colour.begin(), [](int a, int b) { return std::abs(a - b) <= 2; });
}

class CameraExtensionTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(root / "share/Images");
        decoder.define("red", Frame::filled(40, 40, red));
        decoder.define("green", Frame::filled(40, 40, green));
        devices.setDevices({{"loop", "Moritane", "AVCaptureDeviceTypeExternal"},
                            {"usb-1", "Desk", "AVCaptureDeviceTypeExternal"},
                            {"usb-2", "Room", "AVCaptureDeviceTypeExternal"}});
    }

    void writeState(std::string_view json) const { testing::writeFile(share / "state.json", json); }
    void showImage(const std::string& content) const {
        testing::writeFile(share / "Images/A.png", content);
        testing::writeFile(share / "images.json", encodeSavedImages({{imageId, "A", "A.png"}}).value());
        writeState(R"({"mode":"image","selectedImageId":")" + imageId.uuidString() + R"("})");
    }
    /// Lets the queues and the main loop do what they have been given.
    void settle() {
        for (int round = 0; round < 4; ++round) {
            for (auto* queue : queues) {
                queue->runAll();
            }
            loop.drainMain();
        }
    }
    [[nodiscard]] std::vector<std::string> linesWith(std::string_view text) const {
        auto lines = log.lines();
        std::erase_if(lines, [&](const std::string& line) { return line.find(text) == std::string::npos; });
        return lines;
    }
    /// Time passes while the last camera session sends a picture each second.
    void runCamera(std::chrono::seconds duration) {
        for (auto passed = 0s; passed < duration; passed += 1s) {
            capture.deliver(capture.sessions().size() - 1, Frame::filled(64, 36, green));
            settle();
            loop.advance(1s);
        }
    }
    [[nodiscard]] std::array<std::uint8_t, 4> centre() const { return extension->currentFrame().pixel(640, 360); }

    testing::TemporaryDirectory root;
    std::filesystem::path share = root / "share";
    Uuid imageId = Uuid::random();
    FakeDirectoryWatcher watcher;
    FakeImageDecoder decoder;
    FakeCaptureDevices devices;
    FakeVideoCapture capture;
    RecordingFrameSink pipewire;
    RecordingFrameSink loopback;
    ManualRunLoop loop;
    CapturingLog log;
    std::vector<ManualDispatchQueue*> queues;
    CameraExtension::QueueFactory makeQueue = [this](std::string label) {
        auto queue = std::make_unique<ManualDispatchQueue>(std::move(label));
        queues.push_back(queue.get());
        return queue;
    };
    std::shared_ptr<CameraExtension> extension = CameraExtension::create(
        {{root / "missing", share}, watcher, decoder, devices, capture, {&pipewire, &loopback}, loop, log, makeQueue});
};

TEST_F(CameraExtensionTest, ShowsTheLibraryImageFittedAndBlackForWhatCannotBeShown) {
    showImage("red");
    extension->start();
    settle();
    EXPECT_EQ(watcher.watched, share);  // the first candidate that exists
    EXPECT_TRUE(near(centre(), red));
    EXPECT_EQ(extension->currentFrame().pixel(0, 0), black);  // a square picture has bars at the sides

    testing::writeFile(share / "images.json", "[");
    loop.advance(CameraExtension::pollInterval * 3);
    settle();
    EXPECT_EQ(centre(), black);
    EXPECT_EQ(linesWith("cannot read images.json").size(), 1U) << "a lasting problem is told once";

    showImage("not a picture");
    loop.advance(CameraExtension::pollInterval);
    settle();
    EXPECT_EQ(centre(), black);
    EXPECT_EQ(linesWith("cannot decode").size(), 1U);
}

TEST_F(CameraExtensionTest, AWatchedChangeIsReadOnceAndAFileReplacedInPlaceIsDecodedAgain) {
    showImage("red");
    extension->start();
    settle();
    const int reads = decoder.reads();

    testing::writeFile(share / "Images/A.png", "green");
    std::filesystem::last_write_time(share / "Images/A.png", std::filesystem::file_time_type::clock::now() + 1h);
    for (const auto& name : {".state.json.tmp", "state.json", "A.png"}) {
        watcher.tell({Change::Place::directory, name});
    }
    EXPECT_EQ(loop.pendingWork(), 1U) << "a burst of events is one reading";
    settle();
    EXPECT_EQ(decoder.reads(), reads + 1);
    EXPECT_TRUE(near(centre(), green));

    watcher.tell({Change::Place::directory, "heartbeat"});  // once a second; no reading
    EXPECT_EQ(loop.pendingWork(), 0U);
}

TEST_F(CameraExtensionTest, TheCameraIsOpenOnlyWhileWatchedAndClosesAfterALinger) {
    writeState(R"({"mode":"camera"})");
    extension->start();
    settle();
    EXPECT_TRUE(capture.sessions().empty()) << "nobody watches: the camera's light stays off";

    pipewire.setWatched(true);
    EXPECT_EQ(pipewire.frames().back().pixel(640, 360), black) << "black while the camera opens";
    settle();
    ASSERT_EQ(capture.sessions().size(), 1U);
    EXPECT_EQ(capture.sessions()[0]->input, "usb-1") << "the first camera that is not the virtual one";
    capture.deliver(0, Frame::filled(64, 36, green));
    settle();
    loop.advance(34ms);
    ASSERT_FALSE(pipewire.frames().empty());
    EXPECT_TRUE(near(pipewire.frames().back().pixel(0, 0), green));
    EXPECT_EQ(pipewire.frames().back().width(), FrameSink::frameWidth);
    EXPECT_TRUE(loopback.frames().empty()) << "only watched sinks get frames";

    pipewire.setWatched(false);
    runCamera(CameraExtension::cameraLinger - 1s);
    pipewire.setWatched(true);  // back within the linger: the same session goes on
    runCamera(CameraExtension::cameraLinger);
    EXPECT_TRUE(capture.sessions()[0]->running);
    EXPECT_EQ(capture.sessions().size(), 1U);

    pipewire.setWatched(false);
    const auto sent = pipewire.frames().size();
    loop.advance(CameraExtension::cameraLinger);
    EXPECT_FALSE(capture.sessions()[0]->running);
    EXPECT_FALSE(extension->isCameraOpen());
    EXPECT_EQ(pipewire.frames().size(), sent) << "no ticks while nobody watches";
    EXPECT_EQ(linesWith("closed camera Desk").size(), 1U);
}

TEST_F(CameraExtensionTest, ALateDecodeNeverOverridesWhatWasAskedForSince) {
    showImage("red");
    extension->start();  // red is asked for, and turned off before it is decoded
    writeState(R"({"mode":"off"})");
    loop.advance(CameraExtension::pollInterval);
    settle();
    EXPECT_EQ(centre(), black);
}

TEST_F(CameraExtensionTest, AMissingOrSilentCameraGivesBlackAndIsTriedAgainUntilStopped) {
    writeState(R"({"mode":"camera","selectedCameraId":"usb-9"})");
    loopback.setWatched(true);
    extension->start();
    settle();
    EXPECT_TRUE(capture.sessions().empty());
    loop.advance(CameraExtension::pollInterval * 2);
    settle();
    EXPECT_EQ(linesWith("camera usb-9 is not connected").size(), 1U);

    devices.setDevices({{"usb-9", "Laptop", "AVCaptureDeviceTypeBuiltInWideAngleCamera"}});
    loop.advance(CameraExtension::pollInterval);
    settle();
    ASSERT_EQ(capture.sessions().size(), 1U);
    capture.deliver(0, Frame::filled(64, 36, green));
    settle();
    EXPECT_TRUE(near(centre(), green));

    // Unplugged: no more pictures. Black soon, then a new session.
    loop.advance(CameraExtension::cameraSilence + CameraExtension::pollInterval);
    settle();
    EXPECT_EQ(centre(), black);
    EXPECT_EQ(linesWith("sends nothing").size(), 1U);
    EXPECT_EQ(capture.sessions().size(), 2U);
    // No heartbeat: the application has gone, and its last state goes on.
    EXPECT_EQ(linesWith("going on with its last state").size(), 1U);

    extension->stop();
    EXPECT_FALSE(capture.sessions()[1]->running);
    EXPECT_FALSE(loopback.hasWatchedChanged());
    const auto sent = loopback.frames().size();
    loop.advance(10s);
    EXPECT_EQ(loopback.frames().size(), sent);
}

}  // namespace
}  // namespace moritane
