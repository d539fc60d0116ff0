#include "sources/PreviewRenderer.h"

#include "platform/sim/ManualDispatchQueue.h"
#include "testsupport/ManagersFixture.h"

#include <algorithm>
#include <array>

namespace moritane {
namespace {

using Constants::CameraMode;
using Bgra = std::array<std::uint8_t, 4>;
constexpr Bgra kBlack{0, 0, 0, 255};
constexpr Bgra kRed{0, 0, 255, 255};
constexpr Bgra kGreen{0, 255, 0, 255};
const auto kWide = *Uuid::fromString("11111111-2222-4333-8444-555555555555");
const auto kNarrow = *Uuid::fromString("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

class PreviewRendererTest : public testing::ManagersFixture {
protected:
    PreviewRendererTest() {
        const std::string external(CaptureDeviceType::external);
        capture.setDevices(
            {{"desk", "Desk Camera", external}, {"other", "Other Camera", external}, {"own", "Moritane", external}});
        decoder.define("wide", Frame::filled(64, 16, kRed));
        decoder.define("narrow", Frame::filled(9, 16, kRed));
        std::filesystem::create_directories(root / "Images");
        testing::writeFile(root / "Images" / "wide.png", "wide");
        testing::writeFile(root / "Images" / "narrow.png", "narrow");
        images.get().savedImages = {{kWide, "Wide", "wide.png"}, {kNarrow, "Narrow", "narrow.png"}};
    }

    /// What the popover host does as it opens.
    void open() {
        if (!renderer->isActive()) {
            renderer->setActive();
            renderer->update();
        }
    }
    void chooseCamera(const std::optional<std::string>& id) {
        camera->selectedCameraId = id;
        camera->switchToCamera();
        loop.drainMain();
    }
    [[nodiscard]] Bgra at(int x, int y) const { return renderer->currentFrame.value()->pixel(x, y); }
    /// Red, give or take the scaler's two levels.
    [[nodiscard]] bool redAt(int x, int y) const { return at(x, y)[2] >= 253 && at(x, y)[1] == 0; }
    [[nodiscard]] bool showsBlack() const {
        const auto& frame = renderer->currentFrame.value();
        return frame && frame->width() == 320 && frame->height() == 180 && at(0, 0) == kBlack && at(160, 90) == kBlack;
    }
    /// Runs the capture queue, then the main queue: a started session is committed.
    void settle() {
        queue->runAll();
        loop.drainMain();
    }

    ManualRunLoop& loop = managers.loop;
    FakeVideoCapture& capture = managers.capture;
    std::shared_ptr<CameraManager>& camera = managers.camera;
    SharedInstance<ImageManager>& images = managers.images;
    std::shared_ptr<PreviewRenderer>& renderer = managers.preview;
    // The manual queue that the managers' factory made for the renderer.
    ManualDispatchQueue* queue = dynamic_cast<ManualDispatchQueue*>(&renderer->captureQueue());
};

TEST_F(PreviewRendererTest, ImagesAreFittedAndReadAnewAtEveryUpdate) {
    camera->selectImage(kWide);
    open();
    EXPECT_EQ(at(160, 10), kBlack);  // wider than 16:9: bars above and below
    EXPECT_TRUE(redAt(160, 90));
    camera->selectImage(kNarrow);
    loop.drainMain();
    EXPECT_EQ(at(10, 90), kBlack);  // narrower: bars at the sides
    EXPECT_TRUE(redAt(160, 90));
    const int reads = decoder.reads();
    camera->selectImage(kNarrow);  // two assignments, two renderings: equal values are not skipped
    loop.drainMain();
    EXPECT_EQ(decoder.reads(), reads + 2);
}

TEST_F(PreviewRendererTest, MissingImagesAndCamerasGiveBlackAndNoSession) {
    const std::vector<std::function<void()>> cases = {
        [&] { camera->turnOff(); },
        [&] { camera->selectImage(*Uuid::fromString("00000000-0000-4000-8000-000000000000")); },
        [&] {
            std::filesystem::remove(root / "Images" / "wide.png");
            camera->selectImage(kWide);
        },
        [&] { chooseCamera(std::nullopt); },
        [&] { chooseCamera("unplugged"); },
        [&] { chooseCamera("own"); },
    };
    open();
    for (std::size_t i = 0; i < cases.size(); ++i) {
        renderer->currentFrame = Frame::filled(320, 180, kGreen);
        cases[i]();
        loop.drainMain();
        EXPECT_TRUE(showsBlack()) << "case " << i;
    }
    EXPECT_EQ(queue->pending(), 0U);
    EXPECT_TRUE(capture.sessions().empty());
    EXPECT_EQ(camera->currentMode.value(), CameraMode::camera);
}

TEST_F(PreviewRendererTest, ACameraSessionShowsFittedFramesWhileTheModeLasts) {
    chooseCamera("desk");
    open();
    settle();
    ASSERT_EQ(capture.sessions().size(), 1U);
    const auto& session = *capture.sessions()[0];
    EXPECT_EQ(session.preset, (FrameSize{1280, 720}));
    EXPECT_TRUE(session.running);
    EXPECT_TRUE(renderer->hasCaptureSession());
    EXPECT_FALSE(renderer->currentFrame.value());  // nothing until the first frame

    capture.deliver(0, Frame::filled(1280, 720, kGreen));
    settle();
    EXPECT_EQ(renderer->currentFrame.value()->width(), 320);
    EXPECT_EQ(at(0, 0), kGreen);
    renderer->update();  // the same camera: the session stays
    EXPECT_EQ(capture.sessions().size(), 1U);

    // A frame under way when the popover closes is dropped on the main thread.
    capture.deliver(0, Frame::filled(640, 480, kRed));
    queue->runAll();
    renderer->stop();
    loop.drainMain();
    EXPECT_FALSE(renderer->currentFrame.value());
    EXPECT_FALSE(session.running);
    capture.deliver(0, Frame::filled(640, 480, kRed));
    EXPECT_EQ(queue->pending(), 0U);
}

TEST_F(PreviewRendererTest, ASessionThatCannotBeSetUpLeavesTheFrameAsItWas) {
    capture.failInput("desk", {"V4L2", 13, "Cannot open Desk Camera: Permission denied"});
    capture.refuseInput("other");
    capture.setDevices({{"desk", "Desk Camera", ""}, {"other", "Other Camera", ""}, {"third", "Third Camera", ""}});
    capture.refuseOutput("third");
    for (const auto* id : {"desk", "other", "third"}) {
        chooseCamera(id);
        renderer->currentFrame = Frame::filled(320, 180, kGreen);
        open();
        settle();
        EXPECT_FALSE(renderer->hasCaptureSession()) << id;
        EXPECT_EQ(at(0, 0), kGreen) << id;
        EXPECT_FALSE(capture.sessions().back()->running) << id;
        renderer->stop();
    }
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("PreviewRenderer"); });
    EXPECT_EQ(lines, std::vector<std::string>{"PreviewRenderer: failed to setup camera: Cannot open Desk Camera: "
                                              "Permission denied"});
}

TEST_F(PreviewRendererTest, ASessionStartedTooLateIsStoppedAndTheLatestCameraWins) {
    chooseCamera("desk");
    open();
    queue->runAll();  // started, not yet committed
    renderer->stop();
    loop.drainMain();
    EXPECT_FALSE(capture.sessions()[0]->running);
    EXPECT_FALSE(renderer->hasCaptureSession());
    EXPECT_EQ(renderer->lastConfiguredMode(), CameraMode::off);
    camera->selectImage(kWide);  // while closed: nothing is read, nothing set up
    chooseCamera("desk");
    EXPECT_EQ(decoder.reads(), 0);
    EXPECT_EQ(queue->pending(), 0U);

    open();
    // Before the session for "desk" is committed. Each of the three assignments sets up anew, the
    // setups overlap, and each later commit replaces (and stops) the one before.
    chooseCamera("other");
    settle();
    const auto& sessions = capture.sessions();
    ASSERT_EQ(sessions.size(), 5U);
    EXPECT_EQ(sessions[1]->input, "desk");
    EXPECT_TRUE(std::none_of(sessions.begin(), sessions.end() - 1, [](const auto& s) { return s->running; }));
    EXPECT_EQ(sessions.back()->input, "other");
    EXPECT_TRUE(sessions.back()->running);

    camera->selectedCameraId = "desk";  // another camera while one runs: set up anew
    loop.drainMain();
    camera->selectedCameraId = std::nullopt;  // and none before that start is committed
    settle();
    EXPECT_EQ(sessions.size(), 6U);
    EXPECT_TRUE(std::none_of(sessions.begin(), sessions.end(), [](const auto& s) { return s->running; }));
    EXPECT_TRUE(showsBlack());
}

}  // namespace
}  // namespace moritane
