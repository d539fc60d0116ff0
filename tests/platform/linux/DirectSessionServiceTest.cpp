#include "platform/linux/DirectSessionService.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace moritane {
namespace {

class DirectSessionServiceTest : public ::testing::Test {
protected:
    testing::TemporaryDirectory directory;
    std::filesystem::path entry = directory / "autostart/moritane-camera.desktop";
    DirectSessionService service{
        {directory / "current/moritane-camera", directory / "moritane-camera.lock", directory / "log", entry}, {}};
};

TEST_F(DirectSessionServiceTest, WritesItsAutostartEntryOnceAndLeavesOneThatItsUserChanged) {
    ASSERT_EQ(service.registerWithSession(), std::nullopt);
    EXPECT_TRUE(service.isRegistered().value());
    const auto written = testing::readFile(entry);
    auto otherProgram = written;
    otherProgram.replace(otherProgram.find("/current/"), 9, "/elsewhere/");
    for (const auto& changed : {written + "Hidden=true\n", otherProgram}) {
        testing::writeFile(entry, changed);
        EXPECT_FALSE(service.isRegistered().value());
        EXPECT_TRUE(service.registerWithSession().has_value());
        EXPECT_EQ(testing::readFile(entry), changed);
    }
}

TEST_F(DirectSessionServiceTest, ALogThatIsNoFileOrADaemonThatEndsAtItsStartIsAnError) {
    std::filesystem::create_directories(directory / "current");
    testing::writeFile(directory / "current/moritane-camera", "#!/bin/sh\necho 'cannot reach PipeWire' >&2\nexit 3\n");
    std::filesystem::permissions(directory / "current/moritane-camera", std::filesystem::perms::owner_all);
    ASSERT_EQ(::mkfifo((directory / "log").c_str(), 0600), 0);  // must not be waited on
    EXPECT_TRUE(service.restart().has_value());
    std::filesystem::remove(directory / "log");
    const auto failure = service.restart();
    ASSERT_TRUE(failure.has_value());
    EXPECT_NE(failure->description.find("exit status 3 at its start: cannot reach PipeWire"), std::string::npos)
        << failure->description;
}

}  // namespace
}  // namespace moritane
