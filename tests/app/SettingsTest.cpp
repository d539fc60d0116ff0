#include "support/Files.h"
#include "testsupport/DesktopFixture.h"

#include <gtest/gtest.h>

#include <regex>

namespace moritane {
namespace {

const std::string kTitle = "Moritaneの設定";
const std::string kEnglishTitle = "Moritane Settings";

class SettingsTest : public testing::DesktopFixture {
protected:
    [[nodiscard]] std::string title(const std::string& window) const {
        auto name = desktop.server.output({"xdotool", "getwindowname", window});
        return name.substr(0, name.find('\n'));
    }
    /// The one visible window of the program with `name` as title; empty while there is none.
    [[nodiscard]] std::string settingsWindow(const std::string& name = kTitle) const {
        std::string found;
        for (const auto& window : desktop.visibleWindows("moritane")) {
            if (title(window) == name) {
                found = window;
            }
        }
        return found;
    }
    [[nodiscard]] std::string defaults() const { return testing::readFile(home / ".config/moritane/defaults.json"); }
};

TEST_F(SettingsTest, ALaterStartBringsUpTheSettingsWindowWhichKeepsItsPaneAndAddsImages) {
    testing::completeOnboarding(home.path());
    const auto host = tray();
    auto program = start("ja_JP.UTF-8");
    ASSERT_TRUE(program.waitFor("Cameras: ")) << program.output();  // the start-up is through

    auto later = start("ja_JP.UTF-8");
    EXPECT_TRUE(later.waitFor("SingleInstance: moritane runs already; asked it to open its settings"));
    ASSERT_TRUE(testing::eventually([&] { return !settingsWindow().empty(); })) << program.output();
    const auto window = settingsWindow();

    // The window asks the window manager to keep its panes' area at 600 x 460 at least.
    const auto hints = desktop.server.output({"xprop", "-id", window, "WM_NORMAL_HINTS"});
    std::smatch minimum;
    ASSERT_TRUE(std::regex_search(hints, minimum, std::regex("minimum size: (\\d+) by (\\d+)"))) << hints;
    EXPECT_EQ(std::stoi(minimum[1]), 600);
    EXPECT_GT(std::stoi(minimum[2]), 460);

    // The same title on every pane; Control+Tab steps from the images pane to the about pane.
    for (int pane = 0; pane < 2; ++pane) {
        ASSERT_TRUE(key("ctrl+Tab"));
        EXPECT_TRUE(testing::eventually([&] { return title(window) == kTitle; }));
    }
    const auto shown = desktop.geometry(window);
    const auto aboutPane = desktop.pixels(shown);

    // Closed and opened again, it has the same pane, size and place (in an X window that Qt may
    // have made anew, so it is found by its title again).
    ASSERT_TRUE(key("ctrl+w"));
    ASSERT_TRUE(testing::eventually([&] { return settingsWindow().empty(); }));
    auto again = start("ja_JP.UTF-8");
    EXPECT_TRUE(again.waitFor("asked it to open its settings"));
    ASSERT_TRUE(testing::eventually([&] { return !settingsWindow().empty(); })) << program.output();
    EXPECT_EQ(desktop.geometry(settingsWindow()), shown);
    EXPECT_TRUE(testing::eventually([&] { return desktop.pixels(shown) == aboutPane; }));

    // On the images pane, an image added through the file dialog becomes a row and an entry.
    ASSERT_TRUE(key("ctrl+Tab"));
    const auto emptyPane = desktop.pixels(shown);
    const auto picture = home / "green.png";
    ASSERT_TRUE(desktop.server.run({"convert", "-size", "64x36", "xc:#00c000", picture.string()}));
    ASSERT_TRUE(desktop.click({shown.x + shown.width - 70, shown.y + shown.height - 22, 1, 1}));
    // Typed keys go to the file dialog once it has the keyboard.
    ASSERT_TRUE(testing::eventually([&] {
        const auto focused = desktop.server.output({"xdotool", "getwindowfocus"});
        return title(focused.substr(0, focused.find('\n'))) == "画像を追加";
    })) << "the file dialog";
    ASSERT_TRUE(desktop.server.xdotool({"type", "--delay", "20", picture.string()}));
    ASSERT_TRUE(key("Return"));
    ASSERT_TRUE(program.waitFor("ImageManager: copied " + picture.string())) << program.output();
    const auto index = files::readFile(shared / "images.json", 1 << 16);
    ASSERT_TRUE(index);
    EXPECT_NE(index.value().find(R"("name":"green")"), std::string::npos) << index.value();
    EXPECT_TRUE(testing::eventually([&] { return desktop.pixels(shown) != emptyPane; })) << "a row";
}

TEST_F(SettingsTest, OnboardingComesOnceAndTheGeneralPaneSetsLaunchAtLoginAndRecordsShortcuts) {
    const auto host = tray();
    {
        auto first = start();
        ASSERT_TRUE(testing::eventually([&] { return !settingsWindow("Moritane Setup").empty(); })) << first.output();
        ASSERT_TRUE(key("Return"));  // Done
        ASSERT_TRUE(testing::eventually([&] { return settingsWindow("Moritane Setup").empty(); }));
        EXPECT_NE(defaults().find(R"("hasCompletedOnboarding": true)"), std::string::npos) << defaults();
    }
    auto program = start();
    // Once the extension is active, the pane's layout is settled.
    ASSERT_TRUE(program.waitFor("SystemExtensionInstaller: Camera extension: active")) << program.output();
    EXPECT_TRUE(settingsWindow("Moritane Setup").empty()) << "onboarding comes once";

    auto later = start();
    ASSERT_TRUE(testing::eventually([&] { return !settingsWindow(kEnglishTitle).empty(); })) << program.output();
    const auto id = settingsWindow(kEnglishTitle);
    // Tall enough for the whole General pane, so that its controls stand at known places.
    ASSERT_TRUE(desktop.server.xdotool({"windowsize", id, "600", "720"}));
    ASSERT_TRUE(testing::eventually([&] { return desktop.geometry(id).height == 720; }));
    const auto window = desktop.geometry(id);
    ASSERT_TRUE(key("ctrl+Tab"));

    // The launch-at-login box writes and removes the autostart entry.
    const auto entry = home / ".config/autostart/moritane.desktop";
    const testing::Geometry checkbox{window.x + 40, window.y + 200, 1, 1};
    ASSERT_TRUE(desktop.click(checkbox));
    ASSERT_TRUE(testing::eventually([&] { return files::exists(entry); }));
    const auto written = files::readFile(entry, 4096);
    ASSERT_TRUE(written);
    EXPECT_NE(written.value().find(std::string("Exec=\"") + MORITANE_PROGRAM + "\""), std::string::npos)
        << written.value();
    ASSERT_TRUE(desktop.click(checkbox));
    EXPECT_TRUE(testing::eventually([&] { return !files::exists(entry); }));

    // The camera-off recorder records a new shortcut; while it records, the global shortcuts do
    // nothing.
    ASSERT_TRUE(desktop.click({window.x + 490, window.y + 481, 1, 1}));
    ASSERT_TRUE(key("ctrl+alt+super+1"));
    ASSERT_TRUE(key("ctrl+alt+super+5"));
    ASSERT_TRUE(testing::eventually([&] {
        return defaults().find(R"("GlobalShortcuts_cameraOff": "{\"carbonKeyCode\":23,\"carbonModifiers\":6400}")") !=
               std::string::npos;
    })) << defaults();
    EXPECT_EQ(program.output().find("mode=camera"), std::string::npos) << "a shortcut acted while recording";
    ASSERT_TRUE(key("ctrl+alt+super+1"));
    EXPECT_TRUE(program.waitFor("CameraManager: wrote state mode=camera")) << "and acts once recording ended";
}

}  // namespace
}  // namespace moritane
