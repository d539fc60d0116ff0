#include "shell/OnboardingWindow.h"

#include "camera/AppDelegate.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/FakeSystemExtensionService.h"
#include "platform/sim/FakeWorkspace.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"

#include <gtest/gtest.h>

#include <QPushButton>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using Status = SystemExtensionInstaller::Status;

class OnboardingWindowTest : public ::testing::Test {
protected:
    [[nodiscard]] QPushButton* button(const char* key) const {
        for (auto* found : window.findChildren<QPushButton*>()) {
            if (found->text() == key) {
                return found;
            }
        }
        return nullptr;
    }

    CapturingLog log;
    const Localization localization{{}, {"en"}};
    ManualRunLoop installerLoop;
    FakeSystemExtensionService service{installerLoop};
    std::shared_ptr<SystemExtensionInstaller> installer =
        SystemExtensionInstaller::create({service, installerLoop, log, localization, "no bundle"});
    FakeCameraAuthorization authorization;
    FakeWorkspace workspace;
    MemoryDefaults defaults;
    // The window's own loop, so that the installer's probe timers do not count among its timers.
    ManualRunLoop loop;
    OnboardingWindow window{{*installer, authorization, workspace, defaults, loop, localization, "no icons here", log}};
};

// Leaving by Return is driven end to end.
TEST_F(OnboardingWindowTest, ClosingCompletesOnboardingAndWhileShownASingleTimerPollsThePermission) {
    window.bringForward();
    window.close();  // what the window's close button does
    EXPECT_TRUE(defaults.boolean(AppDelegate::hasCompletedOnboardingKey));
    window.bringForward();
    EXPECT_EQ(loop.validTimers(), 1U);
    EXPECT_TRUE(button("onboarding.step3.action")->isVisibleTo(&window));

    authorization.status = AuthorizationStatus::authorized;
    loop.advance(1s);
    EXPECT_FALSE(button("onboarding.step3.action")->isVisibleTo(&window));

    installer->status = Status::activated();
    EXPECT_FALSE(button("onboarding.step1.action")->isEnabled());
    EXPECT_TRUE(button("onboarding.step2.action")->isEnabled());

    window.hide();
    EXPECT_EQ(loop.validTimers(), 0U);
}

}  // namespace
}  // namespace moritane
