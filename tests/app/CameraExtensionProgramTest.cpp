#include "frames/PixelFormats.h"
#include "platform/linux/VideoNodeTree.h"
#include "support/Files.h"
#include "testsupport/Desktop.h"
#include "testsupport/PipeWireSession.h"
#include "testsupport/Process.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <array>
#include <csignal>
#include <cstdlib>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Pixel = std::array<std::uint8_t, 4>;

constexpr std::string_view imageId = "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8";

/// The real moritane-camera on a private PipeWire, read back as a conferencing program would.
class CameraExtensionProgramTest : public ::testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directories(shared / "Images"); }

    [[nodiscard]] std::unique_ptr<testing::ChildProcess> start(std::vector<std::string> environment = {}) const {
        const auto own = session.environment();
        environment.insert(environment.end(), own.begin(), own.end());
        environment.push_back("XDG_DATA_HOME=" + data.path().string());
        return std::make_unique<testing::ChildProcess>(std::vector<std::string>{MORITANE_CAMERA}, environment, 2);
    }
    void writeState(const std::string& json) const {
        ASSERT_EQ(files::writeFileAtomically(shared / "state.json", json), std::nullopt);
    }
    /// A picture of one colour, as a library image, shown.
    void showImage(std::uint8_t red, std::uint8_t green, std::uint8_t blue) const {
        std::string ppm = "P6 64 48 255\n";
        for (int pixel = 0; pixel < 64 * 48; ++pixel) {
            ppm += {static_cast<char>(red), static_cast<char>(green), static_cast<char>(blue)};
        }
        testing::writeFile(shared / "Images/A.ppm", ppm);
        testing::writeFile(shared / "images.json",
                           R"([{"id":")" + std::string(imageId) + R"(","name":"A","fileName":"A.ppm"}])");
        writeState(R"({"mode":"image","selectedImageId":")" + std::string(imageId) + R"("})");
    }
    /// Whether the centre of the last of a few frames a consumer takes in the SD format is `colour`,
    /// allowing for YUV's rounding.
    [[nodiscard]] bool centreIs(Pixel colour) const {
        const auto file = data / "frames";
        std::filesystem::remove(file);
        // A consumer that gets no frames must not hang the test.
        auto command =
            session.captureCommand("moritane-camera", "video/x-raw,format=YUY2,width=640,height=480", 3, file);
        command.insert(command.begin(), {"timeout", "10"});
        const auto bytes = testing::runToEnd(command, {}) ? testing::readFile(file) : std::string();
        constexpr std::size_t size = std::size_t{640} * 480 * 2;
        if (bytes.size() < size) {
            return false;
        }
        const auto* last = reinterpret_cast<const std::uint8_t*>(bytes.data()) + bytes.size() - size;
        const auto centre = pixels::fromYuyv({{last, size}, 1280}, 640, 480)->pixel(320, 240);
        return std::equal(colour.begin(), colour.end() - 1, centre.begin(),
                          [](int wanted, int seen) { return std::abs(wanted - seen) <= 12; });
    }
    testing::PipeWireSession session;
    testing::TemporaryDirectory data;
    std::filesystem::path shared = data / "K7P3W9XQ2T.org.quelbrand.moritane";
};

TEST_F(CameraExtensionProgramTest, ShowsTheCameraWhileWatchedAndClosesItInOff) {
    // The only camera of a /dev of the test's, which the session manager publishes as the one of its node.
    const testing::VideoNodeTree tree;
    tree.add("video7", testing::VideoNodeTree::Node::directory, "Red Camera", "0");
    const auto red = session.startCamera(tree.dev / "video7", 0xff0000, "Red Camera");
    writeState(R"({"mode":"camera"})");
    const auto camera = start(
        {"MORITANE_DEVICE_DIRECTORY=" + tree.dev.string(), "MORITANE_VIDEO4LINUX_DIRECTORY=" + tree.sysfs.string()});
    ASSERT_TRUE(session.findNode("Moritane", 10s)) << camera->output();
    EXPECT_TRUE(testing::eventually([&] { return centreIs({0, 0, 255, 255}); })) << camera->output();

    writeState(R"({"mode":"off"})");
    EXPECT_TRUE(camera->waitFor("closed camera Red Camera")) << camera->output();
    EXPECT_TRUE(centreIs({0, 0, 0, 255})) << camera->output();
}

TEST_F(CameraExtensionProgramTest, FindsItsDirectoryMadeLaterShowsItsImageUntilItGoesAndComesBackAfterAKill) {
    std::filesystem::remove_all(shared);
    auto camera = start();
    ASSERT_TRUE(session.findNode("Moritane", 10s)) << camera->output();
    EXPECT_TRUE(camera->waitFor("no shared directory"));
    EXPECT_TRUE(centreIs({0, 0, 0, 255})) << camera->output();
    std::filesystem::create_directories(shared / "Images");
    showImage(200, 30, 30);
    EXPECT_TRUE(testing::eventually([&] { return centreIs({30, 30, 200, 255}); })) << camera->output();

    camera->end(SIGKILL);
    ASSERT_TRUE(testing::eventually([&] { return !session.findNode("Moritane"); }));
    camera = start();
    ASSERT_TRUE(session.findNode("Moritane", 10s)) << camera->output();
    EXPECT_TRUE(testing::eventually([&] { return centreIs({30, 30, 200, 255}); })) << camera->output();

    const auto second = start();
    EXPECT_TRUE(second->waitFor("another moritane-camera runs for this user; ending")) << second->output();

    std::filesystem::remove(shared / "Images/A.ppm");
    EXPECT_TRUE(testing::eventually([&] { return centreIs({0, 0, 0, 255}); })) << camera->output();
    EXPECT_TRUE(camera->waitFor("cannot decode")) << camera->output();

    const int status = camera->end(SIGTERM);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace moritane
