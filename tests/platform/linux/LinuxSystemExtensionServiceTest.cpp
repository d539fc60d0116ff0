#include "platform/linux/LinuxSystemExtensionService.h"

#include "extension/SystemExtensionInstaller.h"
#include "platform/sim/CapturingLog.h"
#include "platform/sim/FakeCameraExtensionDeployment.h"
#include "platform/sim/ManualDispatchQueue.h"
#include "platform/sim/ManualRunLoop.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

using Strings = std::vector<std::string>;
using Outcome = LoopbackModule::LoadOutcome;
const ExtensionCopy kNew{"1.2", "42", true, true};

FakeCameraExtensionDeployment notLoaded() {
    FakeCameraExtensionDeployment ports;
    ports.moduleState = LoopbackModule::State::notLoaded;
    return ports;
}

class LinuxSystemExtensionServiceTest : public ::testing::Test {
protected:
    void settle() {
        while (properties->runAll() + activations->runAll() + loop.drainMain() > 0) {
        }
    }
    std::string shown() {
        const auto& status = installer->status.value();
        return status.failure() ? status.failure()->diagnostic
                                : std::string(SystemExtensionInstaller::popoverKey(status.kind()));
    }
    /// Activates with the ports as set, expecting the failure and the last port call, then resets them.
    void activateFailing(const std::string& diagnostic, const std::string& lastCall) {
        installer->submitActivation();
        settle();
        EXPECT_EQ(shown(), "OSSystemExtensionErrorDomain" + diagnostic);
        EXPECT_EQ(ports.calls.back(), lastCall) << diagnostic;
        ports = notLoaded();
    }

    ManualRunLoop loop;
    CapturingLog log;
    FakeCameraExtensionDeployment ports = notLoaded();
    ManualDispatchQueue* properties = nullptr;
    ManualDispatchQueue* activations = nullptr;
    LinuxSystemExtensionService service{
        {ports, ports, ports, loop, log, [this](const std::string& label) {
             auto queue = std::make_unique<ManualDispatchQueue>(label);
             (label == LinuxSystemExtensionService::propertiesQueueLabel ? properties : activations) = queue.get();
             return queue;
         }}};
    Localization localization =
        Localization::load(std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n", {"en"}).value();
    std::shared_ptr<SystemExtensionInstaller> installer =
        SystemExtensionInstaller::create({service, loop, log, localization, "/nowhere"});
};

TEST_F(LinuxSystemExtensionServiceTest, AnOlderCopyIsReplacedOnceTheAdministratorApprovesTheModule) {
    ports.copies = {{"1.1", "41", true, true}};
    ports.whileLoading = [&] {
        ports.copies = {kNew};
        installer->refreshStatus();
        settle();
        EXPECT_EQ(shown(), "extensionStatus.needsUserApproval") << "what is installed is answered meanwhile";
    };
    installer->submitActivation();
    EXPECT_TRUE(ports.calls.empty());
    activations->runAll();
    EXPECT_EQ(ports.calls, (Strings{"embedded", "installed"})) << "the replacement is asked on the main thread";
    loop.drainMain();
    activations->runAll();
    EXPECT_EQ(shown(), "extensionStatus.needsUserApproval") << "told before the main loop turned";
    loop.drainMain();
    EXPECT_EQ(shown(), "extensionStatus.activated");
    EXPECT_EQ(ports.calls, (Strings{"embedded", "installed", "install", "register", "state", "isRegistered",
                                    "isRunning", "installed", "load", "restart", "currentProgram", "removeStale"}));
}

TEST_F(LinuxSystemExtensionServiceTest, EachFaultFailsWithItsCodeAndTheDaemonStartsWithoutTheModule) {
    ports.embeddedCopy = Error{"errno", 2, "no Info.json"};
    activateFailing(" #4", "embedded");
    ports.installError = Error{"errno", 28, "No space left on device"};
    activateFailing(" #1: No space left on device", "install");
    ports.loadResult = {Outcome::dismissed, ""};
    activateFailing(" #13", "removeStale");
    ports.loadResult = {Outcome::refusedByPolicy, "Key was rejected by service"};
    activateFailing(" #10", "removeStale");
    ports.loadResult = {Outcome::failed, "FATAL"};
    activateFailing(" #1: could not load v4l2loopback: FATAL", "removeStale");
    ports.restartError = Error{"systemd", 1, "exited"};
    activateFailing(" #1: moritane-camera did not start: exited", "restart");
}

TEST_F(LinuxSystemExtensionServiceTest,
       OnlyTheCurrentRunnableRegisteredRunningCopyCountsAndASilentManagerChangesNothing) {
    const Result<bool> silent = Error{"org.freedesktop.DBus.Error.NoReply", 0, "no reply"};
    const std::vector<std::tuple<std::vector<ExtensionCopy>, Result<bool>, Result<bool>, std::string>> rows{
        {{{"1.1", "41", false, true}, {"1.2", "42", true, false}}, true, true, "extensionStatus.idle"},
        {{kNew}, false, true, "extensionStatus.idle"},
        {{kNew}, true, true, "extensionStatus.activated"},
        {{kNew}, true, silent, "extensionStatus.activated"},
        {{kNew}, true, false, "extensionStatus.idle"},  // killed, or crashed at its start
        {{kNew}, silent, true, "extensionStatus.idle"},
    };
    for (const auto& [copies, registered, running, status] : rows) {
        std::tie(ports.copies, ports.registered, ports.running) = std::tie(copies, registered, running);
        loop.advance(std::chrono::seconds(2));
        installer->refreshStatus();
        settle();
        EXPECT_EQ(shown(), status);
    }
}

}  // namespace
}  // namespace moritane
