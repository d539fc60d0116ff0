#include "shell/model/GeneralPaneModel.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeSystemExtensionService.h"
#include "platform/sim/ManualRunLoop.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

using Section = GeneralSection;
using Status = SystemExtensionInstaller::Status;

constexpr auto kSupportURL = "https://www.orsk.com/lab/moritane/en/support/";

GeneralPaneState with(SystemExtensionInstaller::Status status, bool isPermissionDenied = false,
                      std::string supportURL = kSupportURL) {
    GeneralPaneState state;
    state.extensionStatus = std::move(status);
    state.isCameraPermissionDenied = isPermissionDenied;
    state.supportURL = std::move(supportURL);
    return state;
}

const Localization kLocalization({{"en", {{"settings.extension.status.failed", {"Failed.", ""}}}}}, {"en"});

TEST(GeneralPaneModelTest, ThePermissionSectionStandsBetweenExtensionAndOnboardingOnlyWhileDenied) {
    const std::vector<Section> always{Section::language, Section::startup, Section::extension, Section::onboarding,
                                      Section::shortcuts};
    EXPECT_EQ(makeGeneralPaneContent(with(Status::idle()), kLocalization).sections, always);
    auto denied = always;
    denied.insert(denied.begin() + 3, Section::cameraPermission);
    EXPECT_EQ(makeGeneralPaneContent(with(Status::idle(), true), kLocalization).sections, denied);
}

TEST(GeneralPaneModelTest, AFailureShowsItsTextDiagnosticAndOnlyTheActionsItsFlagsAskFor) {
    struct Case {
        const char* what = "";
        bool opensSettings = false;
        bool needsSupport = false;
        std::string supportURL = kSupportURL;
        bool expectsButton = false;
        std::optional<std::string> expectsLink;
    };
    for (const auto& test : {Case{"neither", false, false, kSupportURL, false, std::nullopt},
                             Case{"both", true, true, kSupportURL, true, kSupportURL},
                             Case{"support at no valid address", false, true, "no address", false, std::nullopt}}) {
        const auto content = makeGeneralPaneContent(
            with(Status::failed({"The disk is full.", "POSIX #28", test.opensSettings, test.needsSupport}), false,
                 test.supportURL),
            kLocalization);
        ASSERT_TRUE(content.extensionFailure) << test.what;
        EXPECT_EQ(*content.extensionFailure, (ExtensionFailureBlock{"Failed.\nThe disk is full.", test.expectsButton,
                                                                    test.expectsLink, "POSIX #28"}))
            << test.what;
        EXPECT_TRUE(content.extensionStatus.empty()) << test.what;
    }
}

TEST(GeneralPaneModelTest, ReinstallingWorksInEveryStateButRequestingAndNeverStartsASecondRequest) {
    ManualRunLoop loop;
    FakeSystemExtensionService service(loop);
    CapturingLog log;
    const Localization localization({}, {"en"});
    const auto installer = SystemExtensionInstaller::create({service, loop, log, localization, "/nonexistent"});
    const auto activations = [&] { return service.submitted(SystemExtensionRequest::Kind::activation).size(); };

    installer->status = Status::activated();
    EXPECT_TRUE(makeGeneralPaneContent(with(Status::activated()), kLocalization).isReinstallEnabled);
    reinstallExtension(*installer);
    EXPECT_EQ(activations(), 1U);
    ASSERT_EQ(installer->status.value().kind(), Status::Case::requesting);
    EXPECT_FALSE(makeGeneralPaneContent(with(Status::requesting()), kLocalization).isReinstallEnabled);
    reinstallExtension(*installer);
    EXPECT_EQ(activations(), 1U);
}

}  // namespace
}  // namespace moritane
