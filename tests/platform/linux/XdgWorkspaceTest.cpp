#include "platform/linux/XdgWorkspace.h"

#include "sources/CameraPermission.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

class XdgWorkspaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Programs that start and end at once, and read nothing of this directory.
        for (const auto* program : {"xdg-open", "gnome-control-center"}) {
            std::filesystem::create_symlink("/bin/true", bin / program);
        }
        testing::writeFile(bin / "not-executable", "");
    }

    testing::TemporaryDirectory bin;
};

TEST_F(XdgWorkspaceTest, ProgramsAreFoundOnThePathOnlyWhenExecutable) {
    const auto path = "/nonexistent::" + bin.path().string();
    EXPECT_EQ(XdgWorkspace::findProgram("xdg-open", path), (bin / "xdg-open").string());
    EXPECT_EQ(XdgWorkspace::findProgram("not-executable", path), std::nullopt);
    EXPECT_EQ(XdgWorkspace::findProgram("xdg-open", "/nonexistent"), std::nullopt);
}

TEST_F(XdgWorkspaceTest, WebAddressesGoToXdgOpenAndCameraSettingsToGnomeOnly) {
    const XdgWorkspace::Environment gnome{bin.path().string(), "ubuntu:GNOME"};
    const XdgWorkspace::Environment kde{bin.path().string(), "KDE"};
    const auto opener = (bin / "xdg-open").string();
    EXPECT_EQ(XdgWorkspace::commandFor("https://www.orsk.com/lab/moritane/", kde),
              (std::vector<std::string>{opener, "https://www.orsk.com/lab/moritane/"}));
    EXPECT_EQ(XdgWorkspace::commandFor(cameraPrivacySettingsURL, gnome),
              (std::vector<std::string>{(bin / "gnome-control-center").string(), "camera"}));
    EXPECT_EQ(XdgWorkspace::commandFor(cameraPrivacySettingsURL, kde), std::nullopt);
    EXPECT_EQ(XdgWorkspace::commandFor(cameraPrivacySettingsURL, {bin.path().string(), "GNOME-Flashback"}),
              std::nullopt);
    EXPECT_EQ(XdgWorkspace::commandFor(extensionSettingsURL, gnome), std::nullopt);
    EXPECT_EQ(XdgWorkspace::commandFor("file:///etc/passwd", gnome), std::nullopt);
    EXPECT_EQ(XdgWorkspace::commandFor("https://example.com", {"/nonexistent", "GNOME"}), std::nullopt);
}

TEST_F(XdgWorkspaceTest, OpeningReportsWhetherAProgramWasStarted) {
    XdgWorkspace workspace({bin.path().string(), "GNOME"});
    EXPECT_TRUE(workspace.openURL("https://example.com/"));
    EXPECT_TRUE(workspace.openURL(cameraPrivacySettingsURL));
    EXPECT_FALSE(workspace.openURL(extensionSettingsURL));
}

}  // namespace
}  // namespace moritane
