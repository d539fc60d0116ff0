#include "shell/SettingsWindow.h"

#include <gtest/gtest.h>

#include <QLabel>

namespace moritane {
namespace {

class SettingsWindowTest : public ::testing::Test {
protected:
    std::vector<SettingsTab> tabs() {
        std::vector<SettingsTab> result;
        for (const char* name : {"images", "general", "about"}) {
            result.push_back({std::string("settings.tab.") + name, "gearshape", [this, name] {
                                  made.emplace_back(name);
                                  return std::make_unique<QLabel>(name);
                              }});
        }
        return result;
    }

    std::vector<std::string> made;
    const Localization localization{{}, {"en"}};
};

TEST_F(SettingsWindowTest, EachPaneIsMadeOnceWhenFirstShown) {
    SettingsWindow window(tabs(), localization, "no icons here");
    EXPECT_EQ(made, std::vector<std::string>{"images"}) << "a window opens on the images pane";
    window.bringForward();
    window.controller().toolbar()->actions().at(3)->trigger();  // spacer, images, general, about
    EXPECT_EQ(window.controller().selectedTab(), 2);
    EXPECT_EQ(made, (std::vector<std::string>{"images", "about"})) << "the general pane was never shown";
    window.controller().selectTab(0);
    EXPECT_EQ(made.size(), 2U) << "a pane is made once";
}

}  // namespace
}  // namespace moritane
