#include "shell/AboutSettingsView.h"

#include "camera/Constants.h"
#include "platform/sim/FakeWorkspace.h"

#include <gtest/gtest.h>
#include <QAbstractButton>
#include <QTest>

namespace moritane {
namespace {

TEST(AboutSettingsViewTest, TheKeyboardOpensDocumentLinksThroughTheWorkspace) {
    const Localization localization({{"en", {}}, {"ja", {}}}, {"ja"});
    FakeWorkspace workspace;
    AboutSettingsView view({localization, workspace, std::nullopt, MORITANE_SOURCE_DIR "/resources/icons"});
    std::vector<QAbstractButton*> links;
    for (auto* button : view.findChildren<QAbstractButton*>()) {
        if (button->accessibleName().startsWith("about.link.")) {
            links.push_back(button);
        }
    }
    ASSERT_EQ(links.size(), 4U);
    EXPECT_EQ(links[2]->accessibleDescription(), "about.link.hint");

    QTest::keyClick(links[2], Qt::Key_Return);
    QTest::keyClick(links[0], Qt::Key_Space);
    const std::string base(Constants::websiteBase);
    EXPECT_EQ(workspace.opened, (std::vector<std::string>{base + "/tokushoho/", base + "/terms/"}));
}

}  // namespace
}  // namespace moritane
