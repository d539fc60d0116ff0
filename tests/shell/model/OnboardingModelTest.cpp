#include "shell/model/OnboardingModel.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/FakeWorkspace.h"
#include "platform/sim/ManualRunLoop.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>

namespace moritane {
namespace {

using Status = SystemExtensionInstaller::Status;

TEST(OnboardingModelTest, StepsFollowTheExtensionStatusAndTheCameraPermission) {
    struct Case {
        Status status;
        bool cameraAuthorized;
        std::vector<bool> complete;
        bool installEnabled;
    };
    const std::vector<Case> cases{
        {Status::idle(), false, {false, false, false}, true},
        {Status::requesting(), false, {false, false, false}, false},
        {Status::needsUserApproval(), false, {true, false, false}, false},
        {Status::activated(), true, {true, true, true}, false},
        // The install button is the retry.
        {Status::failed({"It broke.", "domain #1", false, false}), true, {false, false, true}, true},
    };
    for (const auto& test : cases) {
        const auto steps = makeOnboardingSteps(test.status, test.cameraAuthorized);
        ASSERT_EQ(steps.size(), 3U);
        const auto label = static_cast<int>(test.status.kind());
        EXPECT_EQ((std::vector{steps[0].isComplete, steps[1].isComplete, steps[2].isComplete}), test.complete) << label;
        EXPECT_EQ(steps[0].isActionEnabled, test.installEnabled) << label;
        EXPECT_TRUE(steps[1].showsAction && steps[1].isActionEnabled) << label;
        EXPECT_EQ(steps[2].showsAction, !test.cameraAuthorized) << label;
    }
}

TEST(OnboardingModelTest, ExtensionSettingsOpenAtTheFirstAddressThatOpensOrTellTheUser) {
    struct Case {
        std::set<std::string> refused;
        std::vector<std::string> tried;
        bool opened;
    };
    const std::string first(extensionSettingsURLs[0]);
    const std::string second(extensionSettingsURLs[1]);
    const std::vector<Case> cases{
        {{}, {first}, true},
        {{first}, {first, second}, true},
        {{first, second}, {first, second}, false},
    };
    for (const auto& test : cases) {
        FakeWorkspace workspace;
        workspace.refused = test.refused;
        CapturingLog log;
        EXPECT_EQ(openExtensionSettingsPane(workspace, log), test.opened);
        EXPECT_EQ(workspace.opened, test.tried);
        EXPECT_EQ(log.lines(), test.opened ? std::vector<std::string>{}
                                           : std::vector<std::string>{"[Onboarding] Failed to open System Settings "
                                                                      "extension pane via known URLs"});
    }
}

TEST(OnboardingModelTest, TheCameraStepAsksOnceUndeterminedAndAnswersOnTheMainQueue) {
    ManualRunLoop loop;
    FakeWorkspace workspace;
    FakeCameraAuthorization authorization;
    std::optional<bool> authorized;
    const auto set = [&](bool granted) { authorized = granted; };

    runCameraStep(authorization, workspace, loop, set);
    EXPECT_EQ(authorization.pendingRequests(), 1U);
    authorization.answer(true);
    EXPECT_EQ(authorized, std::nullopt) << "not before the main queue runs";
    loop.drainMain();
    EXPECT_EQ(authorized, true);
    EXPECT_TRUE(workspace.opened.empty());

    for (const auto status : {AuthorizationStatus::denied, AuthorizationStatus::authorized}) {
        authorization.status = status;
        workspace.opened.clear();
        runCameraStep(authorization, workspace, loop, set);
        EXPECT_EQ(authorization.pendingRequests(), 0U);
        EXPECT_EQ(workspace.opened, std::vector<std::string>{std::string(cameraPrivacySettingsURL)});
    }
}

}  // namespace
}  // namespace moritane
