#include "shell/model/LoginItemManager.h"

#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeLoginItemService.h"

#include <gtest/gtest.h>

#include <array>

namespace moritane {
namespace {

using Status = LoginItemService::Status;

TEST(LoginItemManagerTest, CallsTheSystemOnlyForAChangeAndShowsWhatTheSystemSaysAfterwards) {
    struct Case {
        const char* what = "";
        Status before = Status::notRegistered;
        bool wanted = false;
        std::optional<Error> failure;
        Status afterRegistering = Status::enabled;
        int registrations = 0;
        int unregistrations = 0;
        bool shown = false;
        std::vector<std::string> log;
    };
    const Error refused{"LoginItem", 1, "refused"};
    const auto failedTo = [](const char* word) {
        return std::vector<std::string>{std::string("LoginItemManager: failed to set login item to ") + word +
                                        ": refused"};
    };
    // clang-format off
    const std::array cases{
        Case{"on while already on", Status::enabled, true, {}, Status::enabled, 0, 0, true, {}},
        Case{"on", Status::notRegistered, true, {}, Status::enabled, 1, 0, true, {}},
        Case{"on, refused", Status::notRegistered, true, refused, Status::enabled, 1, 0, false, failedTo("enabled")},
        Case{"off, refused", Status::enabled, false, refused, Status::enabled, 0, 1, true, failedTo("disabled")},
        Case{"on while approval is awaited: asked again, still off", Status::requiresApproval, true, {},
             Status::requiresApproval, 1, 0, false, {}},
        Case{"off while not on", Status::requiresApproval, false, {}, Status::enabled, 0, 0, false, {}},
        Case{"off", Status::enabled, false, {}, Status::enabled, 0, 1, false, {}},
    };
    // clang-format on
    for (const auto& test : cases) {
        FakeLoginItemService service;
        CapturingLog log;
        service.currentStatus = test.before;
        service.statusAfterRegistering = test.afterRegistering;
        const auto manager = LoginItemManager::create(service, log);
        EXPECT_EQ(manager->isEnabled.value(), test.before == Status::enabled) << test.what;
        service.failure = test.failure;
        manager->setEnabled(test.wanted);
        EXPECT_EQ(service.registrations, test.registrations) << test.what;
        EXPECT_EQ(service.unregistrations, test.unregistrations) << test.what;
        EXPECT_EQ(manager->isEnabled.value(), test.shown) << test.what;
        EXPECT_EQ(log.lines(), test.log) << test.what;
    }
}

}  // namespace
}  // namespace moritane
