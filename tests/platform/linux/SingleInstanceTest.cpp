#include "platform/linux/SingleInstance.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <memory>

namespace moritane {
namespace {

using namespace std::chrono_literals;

TEST(SingleInstanceTest, ALaterStartHandsItsRequestToTheHolderAndACrashLeavesNothingBehind) {
    const testing::TemporaryDirectory directory;
    auto first = std::make_unique<SingleInstance>(directory.path());
    const SingleInstance later(directory.path());
    ASSERT_FALSE(first->anotherIsRunning());
    ASSERT_TRUE(later.anotherIsRunning());
    EXPECT_TRUE(later.send("openSettings", 0ms).has_value());  // not listening yet

    testing::writeFile(directory / "moritane.socket", "left by a crash");
    ASSERT_TRUE(first->listen());
    EXPECT_TRUE(first->takeRequests().empty());
    EXPECT_FALSE(later.send("openSettings", 0ms).has_value());
    EXPECT_FALSE(later.send("somethingElse", 0ms).has_value());
    EXPECT_EQ(first->takeRequests(), (std::vector<std::string>{"openSettings", "somethingElse"}));

    first.reset();
    EXPECT_FALSE(std::filesystem::exists(directory / "moritane.socket"));
    EXPECT_FALSE(SingleInstance(directory.path()).anotherIsRunning());
}

TEST(SingleInstanceTest, ADirectoryWithoutRoomForTheLockLetsTheProgramRun) {
    const testing::TemporaryDirectory directory;
    std::filesystem::create_directory(directory / "moritane.lock");
    const SingleInstance instance(directory.path());
    EXPECT_FALSE(instance.anotherIsRunning());
    ASSERT_TRUE(instance.lockError().has_value());
    EXPECT_NE(instance.lockError()->description.find("moritane.lock"), std::string::npos);
}

}  // namespace
}  // namespace moritane
