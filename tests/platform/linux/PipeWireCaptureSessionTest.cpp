#include "platform/linux/PipeWireCaptureSession.h"

#include "VideoNodeTree.h"
#include "platform/linux/V4l2VideoCapture.h"
#include "support/SerialQueue.h"
#include "testsupport/Desktop.h"
#include "testsupport/PipeWireSession.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <future>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using testing::PipeWireSession;

constexpr std::uint32_t kRed = 0xff0000;
constexpr std::uint32_t kGreen = 0x00ff00;
constexpr FrameSize k720p = VideoCapture::preset1280x720;

/// One session of `capture` on a capture queue of its own, and what its handler was given.
struct Viewer {
    Viewer(VideoCapture& capture, const std::string& uniqueID) : session(capture.makeSession(k720p)) {
        error = session->makeInput(uniqueID);
        session->addInput();
        session->makeOutput(queue, [this](const Frame& frame) {
            const std::lock_guard lock(mutex);
            ++count;
            last = frame;
            changed.notify_all();
        });
        session->addOutput();
        session->startRunning();
    }

    bool waitForFrames(int more) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 5s, [&, until = count + more] { return count >= until; });
    }

    /// Waits until the queue has run what was posted before.
    void drain() {
        std::promise<void> done;
        queue.async([&done] { done.set_value(); });
        ASSERT_EQ(done.get_future().wait_for(5s), std::future_status::ready);
    }

    int frames() {
        const std::lock_guard lock(mutex);
        return count;
    }

    bool showsRed() {
        const std::lock_guard lock(mutex);
        const auto pixel = last.pixel(last.width() / 2, last.height() / 2);
        return last.width() == 640 && last.height() == 360 && pixel[0] < 10 && pixel[1] < 10 && pixel[2] > 245;
    }

    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
    Frame last;
    std::optional<Error> error;
    SerialQueue queue{"capture"};
    const std::unique_ptr<CaptureSession> session;  // stopped before the queue runs what is left
};

class PipeWireCaptureSessionTest : public ::testing::Test {
protected:
    PipeWireSession session;
};

TEST_F(PipeWireCaptureSessionTest, FindsTheNodeOfADeviceNodeAndSaysAtOnceWhenThereIsNoPipeWire) {
    const auto camera = session.startCamera("/dev/video7", kRed, "Test Camera");
    const auto found = PipeWireCameraNode::find("/dev/video7", k720p, session.socket(), 2s);
    ASSERT_TRUE(found) << found.error().description;
    EXPECT_EQ(found.value().description, "Test Camera");
    EXPECT_EQ(PipeWireCameraNode::find("/dev/video8", k720p, session.socket(), 2s).error().description,
              "PipeWire has no camera for /dev/video8");

    session.stopDaemons();
    const auto start = std::chrono::steady_clock::now();
    const auto absent = PipeWireCameraNode::find("/dev/video7", k720p, session.socket(), 2s);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 200ms);
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error().description.rfind("PipeWire cannot be reached", 0), 0U) << absent.error().description;
}

TEST_F(PipeWireCaptureSessionTest, TwoSessionsShareACameraUntilStoppedOrUntilItsNodeGoes) {
    const testing::VideoNodeTree tree;
    for (const auto* name : {"video7", "video8", "video9"}) {
        tree.add(name, testing::VideoNodeTree::Node::directory, name, "0");
    }
    auto red = session.startCamera(tree.dev / "video7", kRed, "Red");
    const auto green = session.startCamera(tree.dev / "video8", kGreen, "Green");
    V4l2VideoCapture capture(V4l2CaptureDevices(tree.dev, tree.sysfs), session.socket());
    // A camera that PipeWire does not know is read from its device node.
    EXPECT_EQ(Viewer(capture, "video9").error->description,
              "the camera \"video9\" could not be opened: Is a directory");

    Viewer first(capture, "video7");
    Viewer second(capture, "video7");
    ASSERT_FALSE(first.error || second.error);
    ASSERT_TRUE(first.waitForFrames(3));
    ASSERT_TRUE(second.waitForFrames(3));
    EXPECT_TRUE(first.showsRed());
    EXPECT_TRUE(second.showsRed());

    // A frame of the first waits behind this while it stops; it must not reach the handler.
    std::promise<void> gate;
    first.queue.async([opened = gate.get_future().share()] { opened.wait(); });
    ASSERT_TRUE(second.waitForFrames(3));
    first.session->stopRunning();
    const int before = first.frames();
    gate.set_value();
    first.drain();
    EXPECT_EQ(first.frames(), before);

    // Gone, the camera is not replaced by another: the session manager ends the stream.
    red.reset();
    EXPECT_TRUE(testing::eventually([&] { return !session.findNode("Moritane camera input"); }, 5s));
    second.drain();
    EXPECT_TRUE(second.showsRed());
}

}  // namespace
}  // namespace moritane
