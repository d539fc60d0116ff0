#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"
#include "testsupport/Xvfb.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

extern char** environ;

namespace moritane {
namespace {

using namespace std::chrono_literals;

/// The moritane program, started on a home directory of the test's, with its standard error read
/// line by line.
class RunningProgram {
public:
    explicit RunningProgram(const std::filesystem::path& home, const std::vector<std::string>& extraVariables = {}) {
        std::array<int, 2> pipe{};
        if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], 2);
        std::vector<std::string> variables{"HOME=" + home.string(), "LANG=C.UTF-8", "QT_QPA_PLATFORM=offscreen"};
        variables.insert(variables.end(), extraVariables.begin(), extraVariables.end());
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string_view variable(*entry);
            if (variable.starts_with("PATH=") || variable.starts_with("ASAN_") || variable.starts_with("UBSAN_")) {
                variables.emplace_back(variable);
            }
        }
        std::vector<char*> environment;
        for (auto& variable : variables) {
            environment.push_back(variable.data());
        }
        environment.push_back(nullptr);
        std::string program = MORITANE_PROGRAM;
        std::array<char*, 2> arguments{program.data(), nullptr};
        const int result =
            ::posix_spawn(&m_pid, program.c_str(), &actions, nullptr, arguments.data(), environment.data());
        posix_spawn_file_actions_destroy(&actions);
        ::close(pipe[1]);
        m_stderr = pipe[0];
        if (result != 0) {
            throw std::runtime_error("posix_spawn");
        }
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    RunningProgram(RunningProgram&&) = delete;
    RunningProgram& operator=(RunningProgram&&) = delete;
    ~RunningProgram() {
        stop();
        ::close(m_stderr);
    }

    /// Reads standard error until a line after the last one waited for contains `text`; false
    /// when the program says nothing of the kind within the limit.
    bool waitForLine(std::string_view text, std::chrono::milliseconds limit = 20s) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (m_output.find(text, m_searchFrom) == std::string::npos) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd descriptor{m_stderr, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
                return false;
            }
            std::array<char, 4096> buffer{};
            const auto count = ::read(m_stderr, buffer.data(), buffer.size());
            if (count <= 0) {
                return false;
            }
            m_output.append(buffer.data(), static_cast<std::size_t>(count));
        }
        m_searchFrom = m_output.find(text, m_searchFrom) + text.size();
        return true;
    }

    [[nodiscard]] const std::string& output() const { return m_output; }

    /// Ends the program as the system would and reports whether it ended by that signal.
    bool stop() {
        if (m_pid <= 0) {
            return false;
        }
        ::kill(m_pid, SIGTERM);
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM;
    }

private:
    pid_t m_pid = -1;
    int m_stderr = -1;
    std::string m_output;
    std::size_t m_searchFrom = 0;
};

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

TEST(ProgramTest, AFirstStartWritesOffAndTheHeartbeatMovesEverySecond) {
    const testing::TemporaryDirectory home;
    const auto shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
    RunningProgram program(home.path());
    ASSERT_TRUE(program.waitForLine("CameraManager: wrote state mode=off image=nil camera=nil")) << program.output();
    EXPECT_EQ(testing::readFile(shared / "state.json"), R"({"mode":"off"})");
    const auto touches = awaitTouches(shared, "heartbeat", 3);
    ASSERT_EQ(touches.size(), 3U);
    for (std::size_t i = 1; i < touches.size(); ++i) {
        const auto step = touches[i] - touches[i - 1];
        EXPECT_GT(step, 900ms);
        EXPECT_LT(step, 1100ms);
    }
    EXPECT_EQ(std::filesystem::file_size(shared / "heartbeat"), 0U);
    EXPECT_TRUE(program.stop());
    EXPECT_EQ(testing::readFile(shared / "state.json"), R"({"mode":"off"})");
}

TEST(ProgramTest, AStoredImageStateSurvivesARestart) {
    const testing::TemporaryDirectory home;
    const auto shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
    std::filesystem::create_directories(shared);
    const std::string stored =
        R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","selectedCameraId":"usb-1"})";
    testing::writeFile(shared / "state.json", stored);
    for (int start = 0; start < 2; ++start) {
        RunningProgram program(home.path());
        ASSERT_TRUE(program.waitForLine(
            "CameraManager: wrote state mode=image image=6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8 camera=usb-1"))
            << program.output();
        EXPECT_TRUE(program.stop());
        EXPECT_EQ(testing::readFile(shared / "state.json"), stored);
    }
}

// Until this edition can install its camera extension, the installer's status says so plainly.
TEST(ProgramTest, AfterOnboardingTheExtensionIsActivatedAndTheFailureIsTold) {
    const testing::TemporaryDirectory home;
    std::filesystem::create_directories(home / ".config/moritane");
    testing::writeFile(home / ".config/moritane/defaults.json", R"({"hasCompletedOnboarding": true})");
    RunningProgram program(home.path());
    ASSERT_TRUE(program.waitForLine("SystemExtensionInstaller: Camera extension: not installed")) << program.output();
    ASSERT_TRUE(program.waitForLine("SystemExtensionInstaller: Camera extension: installing")) << program.output();
    ASSERT_TRUE(
        program.waitForLine("SystemExtensionInstaller: Camera extension: failed. Something went wrong while "
                            "installing the camera extension. (OSSystemExtensionErrorDomain #1: This edition "
                            "of Moritane cannot install its camera extension yet)"))
        << program.output();
    EXPECT_EQ(program.output().find("Camera extension: active"), std::string::npos) << program.output();
    if (!files::exists("/run/systemd/journal/socket")) {  // without a journal its lines are told here
        EXPECT_NE(program.output().find("[com.orsk.moritane:SystemExtensionInstaller] info: probe found"),
                  std::string::npos)
            << program.output();
    }
    // The camera permission is told at start, and nobody was asked for it: there is no one to ask.
    EXPECT_NE(program.output().find("CameraPermission: "), std::string::npos) << program.output();
    EXPECT_EQ(program.output().find("Camera permission granted"), std::string::npos) << program.output();
}

TEST(ProgramTest, PipesLinksAndLeftoversWhereItsFilesBelongNeitherStopNorMisleadIt) {
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
    RunningProgram program(home.path());
    ASSERT_TRUE(program.waitForLine("CameraManager: wrote state mode=off image=nil camera=nil")) << program.output();
    EXPECT_EQ(awaitTouches(shared, "heartbeat", 1).size(), 1U);
    EXPECT_EQ(testing::readFile(home / "victim"), "precious");
    EXPECT_EQ(files::modificationTime(home / "victim"), victimTime);
    EXPECT_FALSE(files::exists(leftover));
    EXPECT_NE(program.output().find("Defaults: could not load"), std::string::npos) << program.output();
}

// The default shortcuts, pressed on a real X server as any program would see them.
TEST(ProgramTest, TheDefaultShortcutsSwitchTheCameraWhicheverProgramHasTheKeyboard) {
    const testing::XvfbServer server;
    const testing::TemporaryDirectory home;
    const auto shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
    std::filesystem::create_directories(shared / "Images");
    testing::writeFile(shared / "Images" / "F00D0000-0000-4000-8000-000000000000_beach.png", "png");
    testing::writeFile(shared / "images.json", R"([{"id":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","name":"beach",)"
                                               R"("fileName":"F00D0000-0000-4000-8000-000000000000_beach.png"}])");
    RunningProgram program(home.path(), {"DISPLAY=" + server.display()});
    ASSERT_TRUE(program.waitForLine("Shortcuts: camera on: \u2303\u2325\u23181")) << program.output();
    ASSERT_TRUE(program.waitForLine("Cameras: ")) << program.output();  // the start-up is through

    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+1"}));
    ASSERT_TRUE(program.waitForLine("CameraManager: wrote state mode=camera")) << program.output();
    EXPECT_EQ(testing::readFile(shared / "state.json"), R"({"mode":"camera"})");
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+0"}));
    ASSERT_TRUE(program.waitForLine("CameraManager: wrote state mode=off")) << program.output();
    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+2"}));
    ASSERT_TRUE(program.waitForLine("CameraManager: wrote state mode=image image=6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"))
        << program.output();
    EXPECT_EQ(testing::readFile(shared / "state.json"),
              R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"})");
    EXPECT_EQ(program.output().find("are off"), std::string::npos) << program.output();
}

}  // namespace
}  // namespace moritane
