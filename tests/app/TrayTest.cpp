#include "testsupport/DesktopFixture.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

class TrayTest : public testing::DesktopFixture {
protected:
    TrayTest() { testing::completeOnboarding(home.path()); }

    [[nodiscard]] std::vector<std::string> visibleWindows() const { return desktop.visibleWindows("moritane"); }
};

TEST_F(TrayTest, TheIconFollowsTheModeAndOpensThePopoverWithItsPreview) {
    // A red 16:9 library image on show.
    std::filesystem::create_directories(shared / "Images");
    ASSERT_TRUE(desktop.server.run({"convert", "-size", "64x36", "xc:#ff0000", (shared / "Images/red.png").string()}));
    testing::writeFile(shared / "images.json",
                       R"([{"id":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","name":"red","fileName":"red.png"}])");
    testing::writeFile(shared / "state.json",
                       R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"})");
    const auto host = tray();
    auto program = start();

    ASSERT_TRUE(program.waitFor("Cameras: ")) << program.output();  // the start-up is through
    // Embedded: the tray has moved the icon into its place at the right edge.
    ASSERT_TRUE(testing::eventually([&] {
        const auto windows = visibleWindows();
        return windows.size() == 1 && desktop.geometry(windows.front()).x > 512;
    })) << program.output();
    const auto icon = desktop.geometry(visibleWindows().front());
    ASSERT_GT(icon.width, 0);
    const auto imageIcon = desktop.pixels(icon);

    ASSERT_TRUE(desktop.click(icon));
    ASSERT_TRUE(testing::eventually([&] { return visibleWindows().size() == 2; })) << program.output();
    std::string popoverWindow;
    for (const auto& window : visibleWindows()) {
        if (desktop.geometry(window).height > icon.height) {
            popoverWindow = window;
        }
    }
    const auto popover = desktop.geometry(popoverWindow);
    EXPECT_GE(popover.y, icon.y + icon.height);  // under the icon, on the screen
    EXPECT_LE(popover.x + popover.width, 1024);
    // The middle of the preview, inside the edge and the padding, shows the image.
    const auto middle = desktop.pixels({popover.x + popover.width / 2, popover.y + 1 + 12 + 135 / 2, 1, 1});
    ASSERT_EQ(middle.size(), 3U);
    EXPECT_GT(static_cast<unsigned char>(middle[0]), 240);
    EXPECT_LT(static_cast<unsigned char>(middle[1]), 16);
    EXPECT_LT(static_cast<unsigned char>(middle[2]), 16);

    ASSERT_TRUE(desktop.click(icon));
    ASSERT_TRUE(testing::eventually([&] { return visibleWindows().size() == 1; })) << program.output();

    ASSERT_TRUE(key("ctrl+alt+super+0"));
    ASSERT_TRUE(program.waitFor("CameraManager: wrote state mode=off")) << program.output();
    EXPECT_TRUE(testing::eventually([&] { return desktop.pixels(icon) != imageIcon; }));
}

TEST_F(TrayTest, WithoutATrayTheUserIsToldWhatIsMissing) {
    auto program = start();
    ASSERT_TRUE(program.waitFor("StatusItem: no system tray after 5 seconds")) << program.output();
    EXPECT_TRUE(testing::eventually([&] { return !visibleWindows().empty(); }));
}

}  // namespace
}  // namespace moritane
