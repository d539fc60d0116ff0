#include "platform/linux/DirectSessionService.h"

#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
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
    testing::writeFile(directory / "current/moritane-camera",
                       "#!/bin/sh\ntouch \"$0.ran\"\necho 'cannot reach PipeWire' >&2\nexit 3\n");
    std::filesystem::permissions(directory / "current/moritane-camera", std::filesystem::perms::owner_all);
    const auto log = directory / "log";
    const auto refusedWithoutRunning = [&] {
        const auto refused = service.restart();
        return refused && refused->description.find(log.string()) != std::string::npos &&
               !std::filesystem::exists(directory / "current/moritane-camera.ran");
    };
    ASSERT_EQ(::mkfifo(log.c_str(), 0600), 0);
    {
        const files::FileDescriptor reader(::open(log.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        EXPECT_TRUE(refusedWithoutRunning());  // a pipe somebody reads
    }
    EXPECT_TRUE(refusedWithoutRunning());  // one nobody reads, which must not be waited on
    std::filesystem::remove(log);
    testing::writeFile(directory / "victim", "");
    std::filesystem::create_symlink(directory / "victim", log);
    EXPECT_TRUE(refusedWithoutRunning());
    EXPECT_EQ(testing::readFile(directory / "victim"), "");

    std::filesystem::remove(log);
    const auto failure = service.restart();
    ASSERT_TRUE(failure.has_value());
    EXPECT_NE(failure->description.find("exit status 3 at its start: cannot reach PipeWire"), std::string::npos)
        << failure->description;
}

}  // namespace
}  // namespace moritane
