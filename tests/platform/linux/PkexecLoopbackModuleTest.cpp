#include "platform/linux/PkexecLoopbackModule.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <future>
#include <tuple>

namespace moritane {
namespace {

using Outcome = LoopbackModule::LoadOutcome;

/// pkexec and modprobe as scripts that say and end as the test wants, each recording its arguments.
class PkexecLoopbackModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(directory / "module");
        for (const auto* program : {"pkexec", "modprobe"}) {
            testing::writeFile(
                directory / program,
                "#!/bin/sh\necho \"$*\" > \"$0.arguments\"; cat \"$0.says\"; exit $(cat \"$0.status\")\n");
            std::filesystem::permissions(directory / program, std::filesystem::perms::owner_all);
        }
    }
    void answer(const char* program, int status, const std::string& says = "") const {
        testing::writeFile(directory / (std::string(program) + ".status"), std::to_string(status));
        testing::writeFile(directory / (std::string(program) + ".says"), says);
    }

    testing::TemporaryDirectory directory;
    PkexecLoopbackModule module{{directory / "module", directory / "pkexec", directory / "modprobe"}};
};

TEST_F(PkexecLoopbackModuleTest, IsLoadedWhereSysfsListsItAndInstalledWhereModprobeFindsIt) {
    answer("modprobe", 1, "modprobe: FATAL: Module v4l2loopback not found in directory /lib/modules/6.1.0\n");
    EXPECT_EQ(module.state(), LoopbackModule::State::notInstalled);
    answer("modprobe", 0);
    EXPECT_EQ(module.state(), LoopbackModule::State::notLoaded);
    EXPECT_EQ(testing::readFile(directory / "modprobe.arguments"), "--dry-run --quiet v4l2loopback\n");
    std::filesystem::create_directories(directory / "module/v4l2loopback");
    EXPECT_EQ(module.state(), LoopbackModule::State::loaded);
}

TEST_F(PkexecLoopbackModuleTest, LoadsThroughPkexecAndTellsADismissedDialogAndSecureBootFromOtherFailures) {
    for (const auto& [status, says, outcome] : std::vector<std::tuple<int, std::string, Outcome>>{
             {0, "", Outcome::loaded},
             {126, "", Outcome::dismissed},
             {127, "Error executing command as another user: Not authorized\n", Outcome::dismissed},
             {127, "Error executing command as another user: No authentication agent found.\n", Outcome::failed},
             {1, "modprobe: ERROR: could not insert 'v4l2loopback': Key was rejected by service\n",
              Outcome::refusedByPolicy},
             {1, "modprobe: ERROR: could not insert 'v4l2loopback': Exec format error\n", Outcome::failed},
         }) {
        answer("pkexec", status, says);
        const auto result = module.load();
        EXPECT_EQ(result.outcome, outcome) << says;
        EXPECT_NE(result.description.find(says.substr(0, says.find('\n'))), std::string::npos) << result.description;
    }
    EXPECT_EQ(testing::readFile(directory / "pkexec.arguments"),
              (directory / "modprobe").string() + " v4l2loopback devices=1 exclusive_caps=1 card_label=Moritane\n");

    // Cancelled, as when the application quits while the dialog waits: pkexec is ended, whether
    // it had started by then or not; it would otherwise wait on the pipe for ever.
    std::filesystem::remove(directory / "pkexec.says");
    ASSERT_EQ(::mkfifo((directory / "pkexec.says").c_str(), 0600), 0);
    auto waiting = std::async(std::launch::async, [this] { return module.load(); });
    module.cancel();
    EXPECT_EQ(waiting.get().outcome, Outcome::dismissed);

    PkexecLoopbackModule withoutPkexec({directory / "module", directory / "none", directory / "modprobe"});
    EXPECT_EQ(withoutPkexec.load().outcome, Outcome::failed);
}

}  // namespace
}  // namespace moritane
