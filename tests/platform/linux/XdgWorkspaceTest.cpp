#include "platform/linux/XdgWorkspace.h"

#include "camera/Constants.h"
#include "sources/CameraPermission.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

// The camera privacy and extension settings lead to where a user learns how to be let at the
// cameras and how the camera extension is set up.
TEST(XdgWorkspaceTest, WebAddressesAndTheCameraPrivacySettingsAreOpenedWithAnXdgOpenFoundOnThePath) {
    const testing::TemporaryDirectory bin;
    // A program that starts and ends at once, and reads nothing of this directory.
    std::filesystem::create_symlink("/bin/true", bin / "xdg-open");
    testing::writeFile(bin / "not-executable", "");
    const auto opener = (bin / "xdg-open").string();
    EXPECT_EQ(XdgWorkspace::findProgram("xdg-open", "/nonexistent::" + bin.path().string()), opener);
    EXPECT_EQ(XdgWorkspace::findProgram("not-executable", bin.path().string()), std::nullopt);
    XdgWorkspace workspace({bin.path().string()}, {"fr", "en"});
    for (const auto& [url, command] : std::vector<std::pair<std::string_view, std::optional<std::vector<std::string>>>>{
             {"https://www.orsk.com/lab/moritane/", {{opener, "https://www.orsk.com/lab/moritane/"}}},
             {"mailto:support@example.com", {{opener, "mailto:support@example.com"}}},
             {cameraPrivacySettingsURL, {{opener, std::string(Constants::websiteBase) + "/fr/support/"}}},
             {extensionSettingsURL, {{opener, std::string(Constants::websiteBase) + "/fr/support/#camera-extension"}}},
             {"x-apple.systempreferences:com.apple.preference.security?Extensions", std::nullopt},
             {"file:///etc/passwd", std::nullopt},
         }) {
        EXPECT_EQ(workspace.commandFor(url), command) << url;
    }
    EXPECT_EQ(XdgWorkspace({"/nonexistent"}, {}).commandFor("https://example.com"), std::nullopt);
    EXPECT_TRUE(workspace.openURL("https://example.com/"));
}

}  // namespace
}  // namespace moritane
