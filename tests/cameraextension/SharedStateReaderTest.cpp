#include "cameraextension/SharedStateReader.h"

#include "testsupport/CoreFixture.h"

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Constants::CameraMode;

class SharedStateReaderTest : public testing::CoreFixture {
protected:
    std::shared_ptr<CameraManager> manager = makeCamera();
    SharedStateReader extension{root.path()};
};

TEST_F(SharedStateReaderTest, FollowsEveryModeTheApplicationWritesAndShowsBlackForAnUnreadableState) {
    manager->selectedCameraId = std::string("usb-1");
    manager->switchToCamera();
    EXPECT_EQ(extension.output(), (SharedStateReader::Output{CameraMode::camera, "usb-1", std::nullopt, std::nullopt}));
    manager->turnOff();
    EXPECT_EQ(extension.output(), SharedStateReader::Output{});
    writeState(R"({"mode":"camera")");
    EXPECT_FALSE(extension.state());
    EXPECT_EQ(extension.output().mode, CameraMode::off);  // unreadable: black, and why
    EXPECT_TRUE(extension.output().problem->starts_with("cannot read state.json: ")) << *extension.output().problem;
}

TEST_F(SharedStateReaderTest, ResolvesTheShownImageThroughTheIndex) {
    const auto shown = Uuid::random();
    const auto other = Uuid::random();
    testing::writeFile(root / "images.json",
                       encodeSavedImages({{other, "a", "X_a.png"}, {shown, "b", "Y_b.png"}}).value());
    manager->selectImage(shown);
    EXPECT_EQ(extension.output().imageFile, root / "Images" / "Y_b.png");
    manager->selectImage(Uuid::random());  // not in the index
    EXPECT_EQ(extension.output().imageFile, std::nullopt);
    EXPECT_TRUE(extension.output().problem->ends_with(" is not in images.json"));
}

TEST_F(SharedStateReaderTest, TheHeartbeatAgesUntilTheNextTick) {
    const auto now = loop.now();
    EXPECT_EQ(extension.heartbeatAge(now + 700ms), 700ms);
    loop.advance(1000ms);
    EXPECT_EQ(extension.heartbeat(), now + 1s);
    std::filesystem::remove(root / "heartbeat");
    EXPECT_EQ(extension.heartbeatAge(now), std::nullopt);
}

}  // namespace
}  // namespace moritane
