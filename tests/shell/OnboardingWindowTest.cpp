#include "shell/OnboardingWindow.h"

#include "camera/AppDelegate.h"
#include "platform/sim/ManualRunLoop.h"
#include "testsupport/ManagersFixture.h"

#include <gtest/gtest.h>

#include <QPushButton>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Status = SystemExtensionInstaller::Status;

class OnboardingWindowTest : public testing::ManagersFixture {
protected:
    [[nodiscard]] QPushButton* button(const char* key) const {
        for (auto* found : window.findChildren<QPushButton*>()) {
            if (found->text() == key) {
                return found;
            }
        }
        return nullptr;
    }

    // The window's own loop, so that the installer's probe timers do not count among its timers.
    ManualRunLoop loop;
    OnboardingWindow window{{*managers.installer, managers.authorization, managers.workspace, managers.defaults, loop,
                             managers.localization, "no icons here", log}};
};

// Leaving by Return is driven end to end.
TEST_F(OnboardingWindowTest, ClosingCompletesOnboardingAndWhileShownASingleTimerPollsThePermission) {
    window.bringForward();
    window.close();  // what the window's close button does
    EXPECT_TRUE(managers.defaults.boolean(AppDelegate::hasCompletedOnboardingKey));
    window.bringForward();
    EXPECT_EQ(loop.validTimers(), 1U);
    EXPECT_TRUE(button("onboarding.step3.action")->isVisibleTo(&window));

    managers.authorization.status = AuthorizationStatus::authorized;
    loop.advance(1s);
    EXPECT_FALSE(button("onboarding.step3.action")->isVisibleTo(&window));

    managers.installer->status = Status::activated();
    EXPECT_FALSE(button("onboarding.step1.action")->isEnabled());
    EXPECT_TRUE(button("onboarding.step2.action")->isEnabled());

    window.hide();
    EXPECT_EQ(loop.validTimers(), 0U);
}

}  // namespace
}  // namespace moritane
