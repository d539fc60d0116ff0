#include "support/Files.h"
#include "testsupport/Process.h"
#include "testsupport/TemporaryDirectory.h"
#include "testsupport/Xvfb.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <array>
#include <cstdio>
#include <functional>
#include <sstream>
#include <thread>

extern char** environ;

namespace moritane {
namespace {

using namespace std::chrono_literals;

const std::string kPath = "PATH=/usr/local/bin:/usr/bin:/bin";

/// moritane on the display's real tray, with a home and runtime directory of the test's.
testing::ChildProcess startOnDisplay(const testing::XvfbServer& server, const std::filesystem::path& home) {
    std::filesystem::create_directories(home / "runtime");
    std::vector<std::string> variables{"HOME=" + home.string(),
                                       "XDG_RUNTIME_DIR=" + (home / "runtime").string(),
                                       "DISPLAY=" + server.display(),
                                       "QT_QPA_PLATFORM=xcb",
                                       "LANG=C.UTF-8",
                                       kPath};
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (const std::string_view variable(*entry); variable.starts_with("ASAN_") || variable.starts_with("UBSAN_")) {
            variables.emplace_back(variable);
        }
    }
    return {{MORITANE_PROGRAM}, variables, STDERR_FILENO};
}

/// Asks again until `condition` holds, for at most `limit`: windows come and go on the server's time.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 15s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(100ms);
    }
    return true;
}

struct Geometry {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class TrayTest : public ::testing::Test {
protected:
    [[nodiscard]] std::vector<std::string> visibleWindows() const {
        std::istringstream ids(server.output({"xdotool", "search", "--onlyvisible", "--class", "moritane"}));
        std::vector<std::string> windows;
        for (std::string id; std::getline(ids, id);) {
            windows.push_back(id);
        }
        return windows;
    }
    [[nodiscard]] Geometry geometry(const std::string& window) const {
        std::istringstream lines(server.output({"xdotool", "getwindowgeometry", "--shell", window}));
        Geometry result;
        for (std::string line; std::getline(lines, line);) {
            const auto value = line.substr(line.find('=') + 1);
            int* field = line.starts_with("X=")        ? &result.x
                         : line.starts_with("Y=")      ? &result.y
                         : line.starts_with("WIDTH=")  ? &result.width
                         : line.starts_with("HEIGHT=") ? &result.height
                                                       : nullptr;
            if (field != nullptr && !value.empty()) {
                *field = std::stoi(value);
            }
        }
        return result;
    }
    /// The screen's pixels in a rectangle, as raw RGB bytes.
    [[nodiscard]] std::string pixels(const Geometry& area) const {
        return server.output({"import", "-window", "root", "-crop",
                              std::to_string(area.width) + "x" + std::to_string(area.height) + "+" +
                                  std::to_string(area.x) + "+" + std::to_string(area.y),
                              "-depth", "8", "rgb:-"});
    }
    void click(const Geometry& at) const {
        ASSERT_TRUE(server.xdotool(
            {"mousemove", std::to_string(at.x + at.width / 2), std::to_string(at.y + at.height / 2), "click", "1"}));
    }

    testing::XvfbServer server;
    testing::TemporaryDirectory home;
};

TEST_F(TrayTest, TheIconFollowsTheModeAndOpensThePopoverWithItsPreview) {
    // A red 16:9 library image on show.
    const auto shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
    std::filesystem::create_directories(shared / "Images");
    ASSERT_TRUE(testing::runToEnd({"convert", "-size", "64x36", "xc:#ff0000", (shared / "Images" / "red.png").string()},
                                  {kPath}));
    testing::writeFile(shared / "images.json",
                       R"([{"id":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","name":"red","fileName":"red.png"}])");
    testing::writeFile(shared / "state.json",
                       R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"})");
    const testing::ChildProcess tray(
        {"trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height", "28"},
        {"DISPLAY=" + server.display(), kPath}, STDOUT_FILENO);
    auto program = startOnDisplay(server, home.path());

    ASSERT_TRUE(program.waitFor("Cameras: ")) << program.output();  // the start-up is through
    // Embedded: the tray has moved the icon into its place at the right edge.
    ASSERT_TRUE(eventually([&] {
        const auto windows = visibleWindows();
        return windows.size() == 1 && geometry(windows.front()).x > 320;
    })) << program.output();
    const auto icon = geometry(visibleWindows().front());
    ASSERT_GT(icon.width, 0);
    const auto imageIcon = pixels(icon);

    click(icon);
    ASSERT_TRUE(eventually([&] { return visibleWindows().size() == 2; })) << program.output();
    std::string popoverWindow;
    for (const auto& window : visibleWindows()) {
        if (geometry(window).height > icon.height) {
            popoverWindow = window;
        }
    }
    const auto popover = geometry(popoverWindow);
    EXPECT_GE(popover.y, icon.y + icon.height);  // under the icon, on the screen
    EXPECT_LE(popover.x + popover.width, 640);
    // The middle of the preview, inside the edge and the padding, shows the image.
    const auto middle = pixels({popover.x + popover.width / 2, popover.y + 1 + 12 + 135 / 2, 1, 1});
    ASSERT_EQ(middle.size(), 3U);
    EXPECT_GT(static_cast<unsigned char>(middle[0]), 240);
    EXPECT_LT(static_cast<unsigned char>(middle[1]), 16);
    EXPECT_LT(static_cast<unsigned char>(middle[2]), 16);

    click(icon);
    ASSERT_TRUE(eventually([&] { return visibleWindows().size() == 1; })) << program.output();

    ASSERT_TRUE(server.xdotool({"key", "ctrl+alt+super+0"}));
    ASSERT_TRUE(program.waitFor("CameraManager: wrote state mode=off")) << program.output();
    EXPECT_TRUE(eventually([&] { return pixels(icon) != imageIcon; }));

    // A second start hands over to this one, which opens its popover, and ends.
    auto later = startOnDisplay(server, home.path());
    EXPECT_TRUE(later.waitFor("SingleInstance: moritane runs already; asked it to open its settings"));
    ASSERT_TRUE(program.waitFor("SingleInstance: a later start asked for the settings")) << program.output();
    EXPECT_TRUE(eventually([&] { return visibleWindows().size() == 2; }));
}

TEST_F(TrayTest, WithoutATrayTheUserIsToldWhatIsMissing) {
    auto program = startOnDisplay(server, home.path());
    ASSERT_TRUE(program.waitFor("StatusItem: no system tray after 5 seconds")) << program.output();
    EXPECT_TRUE(eventually([&] { return !visibleWindows().empty(); }));
}

}  // namespace
}  // namespace moritane
