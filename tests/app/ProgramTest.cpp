#include "support/Files.h"
#include "testsupport/DesktopFixture.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace moritane {
namespace {

using namespace std::chrono_literals;

/// The program on a home of the test's, with no display unless `variables` give one.
testing::ChildProcess startProgram(const std::filesystem::path& home, std::vector<std::string> variables = {}) {
    variables.insert(variables.end(), {"LANG=C.UTF-8", "QT_QPA_PLATFORM=offscreen"});
    return testing::startProgram(MORITANE_PROGRAM, home, std::move(variables));
}

/// Waits for `count` changes of the times of `name` in `directory` (setting the modification time
/// alone is reported as a modification); returns its modification time after each.
std::vector<std::chrono::system_clock::time_point> awaitTouches(const std::filesystem::path& directory,
                                                                const std::string& name, int count) {
    std::vector<std::chrono::system_clock::time_point> times;
    const int watcher = ::inotify_init1(IN_CLOEXEC);
    ::inotify_add_watch(watcher, directory.c_str(), IN_ATTRIB | IN_MODIFY);
    std::array<char, 4096> buffer{};
    while (static_cast<int>(times.size()) < count) {
        pollfd descriptor{watcher, POLLIN, 0};
        if (::poll(&descriptor, 1, 5000) <= 0) {
            break;
        }
        const auto length = ::read(watcher, buffer.data(), buffer.size());
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
            if (event->len > 0 && name == event->name) {
                times.push_back(files::modificationTime(directory / name).value());
            }
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    ::close(watcher);
    return times;
}

TEST(ProgramTest, AfterOnboardingTheCameraExtensionIsInstalledAndStarted) {
    const testing::TemporaryDirectory home;
    testing::completeOnboarding(home.path());
    auto program = startProgram(home.path());
    ASSERT_TRUE(program.waitFor("SystemExtensionInstaller: Camera extension: not installed")) << program.output();
    ASSERT_TRUE(program.waitFor("SystemExtensionInstaller: Camera extension: installing")) << program.output();
    ASSERT_TRUE(program.waitFor("SystemExtensionInstaller: Camera extension: active")) << program.output();
    // No service manager here: the daemon runs from the user's copy, and at the next login by its entry.
    const auto daemon = testing::readFile(home / ".config/moritane/moritane-camera.lock");
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + daemon.substr(0, daemon.find('\n')) + "/exe"),
              std::filesystem::canonical(home / ".local/share/moritane/SystemExtensions/"
                                                "org.quelbrand.moritane.cameraextension/current/moritane-camera"));
    EXPECT_TRUE(files::exists(home / ".config/autostart/moritane-camera.desktop"));
    EXPECT_TRUE(testing::endDaemon(home / ".config/moritane/moritane-camera.lock", "moritane-camera"));
    if (!files::exists("/run/systemd/journal/socket")) {  // without a journal its lines are told here
        EXPECT_NE(program.output().find("[com.orsk.moritane:SystemExtensionInstaller] info: probe found"),
                  std::string::npos)
            << program.output();
    }
    // The camera permission is told at start, and nobody was asked for it: there is no one to ask.
    EXPECT_NE(program.output().find("CameraPermission: "), std::string::npos) << program.output();
    EXPECT_EQ(program.output().find("Camera permission granted"), std::string::npos) << program.output();
}

// A pipe, a link and a leftover where its files belong neither stop nor mislead a first start; the
// heartbeat, here the link's own time, moves every second.
TEST(ProgramTest, AFirstStartWritesOffPastPipesLinksAndLeftoversAndTheHeartbeatMovesEverySecond) {
    const testing::TemporaryDirectory home;
    const auto shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
    std::filesystem::create_directories(shared);
    std::filesystem::create_directories(home / ".config/moritane");
    ASSERT_EQ(::mkfifo((shared / "state.json").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((home / ".config/moritane/defaults.json").c_str(), 0600), 0);
    testing::writeFile(home / "victim", "precious");
    const auto victimTime = files::modificationTime(home / "victim");
    std::filesystem::create_symlink(home / "victim", shared / "heartbeat");
    const auto leftover = shared / ".state.json.6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8.tmp";
    testing::writeFile(leftover, "{");
    files::setModificationTime(leftover, std::chrono::system_clock::now() - 1min);
    auto program = startProgram(home.path());
    ASSERT_TRUE(program.waitFor("CameraManager: wrote state mode=off image=nil camera=nil")) << program.output();
    EXPECT_EQ(testing::readFile(shared / "state.json"), R"({"mode":"off"})");
    const auto touches = awaitTouches(shared, "heartbeat", 3);
    ASSERT_EQ(touches.size(), 3U);
    for (std::size_t i = 1; i < touches.size(); ++i) {
        EXPECT_GT(touches[i] - touches[i - 1], 900ms);
        EXPECT_LT(touches[i] - touches[i - 1], 1100ms);
    }
    EXPECT_EQ(testing::readFile(home / "victim"), "precious");
    EXPECT_EQ(files::modificationTime(home / "victim"), victimTime);
    EXPECT_FALSE(files::exists(leftover));
    EXPECT_NE(program.output().find("Defaults: could not load"), std::string::npos) << program.output();
    EXPECT_TRUE(program.stop());
    EXPECT_EQ(testing::readFile(shared / "state.json"), R"({"mode":"off"})");
}

// A stored state is taken up at start; the default shortcuts, pressed on a real X server as any
// program would see them, then switch the camera and keep the chosen camera.
TEST(ProgramTest, TheStoredStateIsTakenUpAndTheDefaultShortcutsSwitchTheCamera) {
    const testing::XvfbServer server;
    const testing::TemporaryDirectory home;
    const auto shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
    std::filesystem::create_directories(shared / "Images");
    testing::writeFile(shared / "Images" / "F00D0000-0000-4000-8000-000000000000_beach.png", "png");
    testing::writeFile(shared / "images.json", R"([{"id":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","name":"beach",)"
                                               R"("fileName":"F00D0000-0000-4000-8000-000000000000_beach.png"}])");
    const std::string stored =
        R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","selectedCameraId":"usb-1"})";
    testing::writeFile(shared / "state.json", stored);
    auto program = startProgram(home.path(), {"DISPLAY=" + server.display()});
    ASSERT_TRUE(program.waitFor(
        "CameraManager: wrote state mode=image image=6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8 camera=usb-1"))
        << program.output();
    EXPECT_EQ(testing::readFile(shared / "state.json"), stored);
    ASSERT_TRUE(program.waitFor("Shortcuts: camera on: \u2303\u2325\u23181")) << program.output();
    ASSERT_TRUE(program.waitFor("Cameras: ")) << program.output();  // the start-up is through

    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+1"}));
    ASSERT_TRUE(program.waitFor("CameraManager: wrote state mode=camera")) << program.output();
    EXPECT_EQ(testing::readFile(shared / "state.json"), R"({"mode":"camera","selectedCameraId":"usb-1"})");
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+0"}));
    ASSERT_TRUE(program.waitFor("CameraManager: wrote state mode=off")) << program.output();
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+2"}));
    ASSERT_TRUE(program.waitFor("CameraManager: wrote state mode=image image=6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"))
        << program.output();
    EXPECT_TRUE(program.stop());
    EXPECT_EQ(testing::readFile(shared / "state.json"), stored);
    EXPECT_EQ(program.output().find("are off"), std::string::npos) << program.output();
}

}  // namespace
}  // namespace moritane
