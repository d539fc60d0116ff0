#include "shell/AboutSettingsView.h"

#include "camera/Constants.h"
#include "platform/sim/FakeWorkspace.h"

#include <gtest/gtest.h>
#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>

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

    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(links[2], &enter);
    QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
    QKeyEvent spaceUp(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier);
    QApplication::sendEvent(links[0], &space);
    QApplication::sendEvent(links[0], &spaceUp);
    const std::string base(Constants::websiteBase);
    EXPECT_EQ(workspace.opened, (std::vector<std::string>{base + "/tokushoho/", base + "/terms/"}));
}

}  // namespace
}  // namespace moritane
