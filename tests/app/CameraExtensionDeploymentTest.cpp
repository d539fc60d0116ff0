#include "platform/linux/DirectSessionService.h"
#include "platform/linux/DiskExtensionCopies.h"
#include "testsupport/Desktop.h"
#include "testsupport/PipeWireSession.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

namespace moritane {
namespace {

using namespace std::chrono_literals;

/// The real moritane-camera installed from an embedded copy and started without a service manager,
/// on a private PipeWire.
class CameraExtensionDeploymentTest : public ::testing::Test {
protected:
    void TearDown() override {
        EXPECT_TRUE(testing::endDaemon(session.runtimeDirectory() / "moritane-camera.lock", "moritane-camera"));
    }
    /// An embedded copy of the program from the build tree, of the given versions.
    [[nodiscard]] std::filesystem::path embedded(const std::string& shortVersion, const std::string& build) const {
        auto directory = data / ("embedded-" + build);
        std::filesystem::create_directories(directory);
        std::filesystem::copy_file(MORITANE_CAMERA, directory / "moritane-camera");
        testing::writeFile(directory / "Info.json", R"({"CFBundleShortVersionString":")" + shortVersion +
                                                        R"(","CFBundleVersion":")" + build + R"("})");
        return directory;
    }
    /// The process id in the daemon's lock, read as the service reads it.
    [[nodiscard]] pid_t daemon() const {
        return static_cast<pid_t>(
            std::atoi(testing::readFile(session.runtimeDirectory() / "moritane-camera.lock").c_str()));
    }
    [[nodiscard]] std::size_t cameras() const {
        const auto objects = session.dump();
        return static_cast<std::size_t>(std::ranges::count_if(objects, [](const nlohmann::json& object) {
            return object.value("/info/props/node.description"_json_pointer, std::string{}) == "Moritane";
        }));
    }

    testing::PipeWireSession session;
    testing::TemporaryDirectory data;
    std::filesystem::path root = data / "installed";
    DirectSessionService service{{root / "current/moritane-camera", session.runtimeDirectory() / "moritane-camera.lock",
                                  data / "state/moritane-camera.log", data / "autostart/moritane-camera.desktop"},
                                 [this] {
                                     auto environment = session.environment();
                                     environment.push_back("XDG_DATA_HOME=" + data.path().string());
                                     return environment;
                                 }()};
};

TEST_F(CameraExtensionDeploymentTest, StartsTheInstalledCopyAndReplacesItsDaemonWithTheNextOnesWithoutOverlap) {
    DiskExtensionCopies first(embedded("1.0", "1"), root);
    ASSERT_EQ(first.install(), std::nullopt);
    ASSERT_EQ(service.registerWithSession(), std::nullopt);
    EXPECT_TRUE(service.isRegistered().value());
    const auto started = service.restart();
    ASSERT_EQ(started, std::nullopt) << started->description;
    ASSERT_TRUE(session.findNode("Moritane", 10s));
    const pid_t old = daemon();

    DiskExtensionCopies second(embedded("2.0", "2"), root);
    ASSERT_EQ(second.install(), std::nullopt);
    const auto restarted = service.restart();
    ASSERT_EQ(restarted, std::nullopt) << restarted->description;
    EXPECT_TRUE(testing::eventually([old] { return ::kill(old, 0) != 0; }));
    EXPECT_NE(daemon(), old);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(daemon()) + "/exe"),
              std::filesystem::canonical(root / "2.0-2/moritane-camera"));
    EXPECT_TRUE(testing::eventually([this] { return cameras() == 1; }));
}

}  // namespace
}  // namespace moritane
