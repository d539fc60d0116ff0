#include "platform/linux/XdgAutostartLoginItemService.h"

#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace moritane {
namespace {

using Status = LoginItemService::Status;

class XdgAutostartLoginItemServiceTest : public ::testing::Test {
protected:
    testing::TemporaryDirectory config;
    XdgAutostartLoginItemService service{config / "autostart", "/opt/Moritane App/bin/moritane"};
};

TEST_F(XdgAutostartLoginItemServiceTest, AnEntryOfOursStartsThisProgramUntilTheDesktopTurnsItOffOrItIsRemoved) {
    EXPECT_EQ(service.status(), Status::notRegistered);
    ASSERT_EQ(service.registerLoginItem(), std::nullopt);
    EXPECT_EQ(service.status(), Status::enabled);
    const auto entry = files::readFile(service.entryPath(), 4096).value();
    EXPECT_NE(entry.find("\nExec=\"/opt/Moritane App/bin/moritane\"\n"), std::string::npos) << entry;

    for (const auto* off : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
        testing::writeFile(service.entryPath(), entry + off + "\n");
        EXPECT_EQ(service.status(), Status::notRegistered) << off;
    }
    // A copy installed elsewhere left it: this program is not started by it.
    XdgAutostartLoginItemService other(config / "autostart", "/usr/bin/moritane");
    testing::writeFile(service.entryPath(), entry);
    EXPECT_EQ(other.status(), Status::notRegistered);
    ASSERT_EQ(other.registerLoginItem(), std::nullopt);
    EXPECT_EQ(other.status(), Status::enabled);

    ASSERT_EQ(other.unregisterLoginItem(), std::nullopt);
    EXPECT_FALSE(files::exists(service.entryPath()));
    EXPECT_EQ(other.unregisterLoginItem(), std::nullopt) << "nothing left to remove";
}

TEST_F(XdgAutostartLoginItemServiceTest, WhatIsNotOursIsNeverTouchedAndCountsAsNotEnabled) {
    const std::string theirs = "[Desktop Entry]\nType=Application\nExec=/usr/bin/moritane\n";
    std::filesystem::create_directories(config / "autostart");
    testing::writeFile(service.entryPath(), theirs);
    EXPECT_EQ(service.status(), Status::notRegistered);
    const auto refused = service.registerLoginItem();
    ASSERT_TRUE(refused);
    EXPECT_NE(refused->description.find("is not Moritane's entry"), std::string::npos);
    EXPECT_TRUE(service.unregisterLoginItem());
    EXPECT_EQ(files::readFile(service.entryPath(), 4096).value(), theirs);

    // A pipe in the entry's place is not waited on.
    std::filesystem::remove(service.entryPath());
    ASSERT_EQ(::mkfifo(service.entryPath().c_str(), 0600), 0);
    EXPECT_EQ(service.status(), Status::notRegistered);
    EXPECT_TRUE(service.registerLoginItem());
    EXPECT_TRUE(std::filesystem::is_fifo(service.entryPath()));
}

TEST_F(XdgAutostartLoginItemServiceTest, AnAutostartDirectoryThatIsAFileFailsWithItsReason) {
    testing::writeFile(config / "autostart", "not a directory");
    const auto error = service.registerLoginItem();
    ASSERT_TRUE(error);
    EXPECT_NE(error->description.find("autostart"), std::string::npos) << error->description;
    EXPECT_EQ(service.status(), Status::notRegistered);
}

TEST(XdgAutostartEntryTest, TheProgramsPathIsQuotedForTheExecKey) {
    const auto entry = XdgAutostartLoginItemService::entryFor(R"(/home/a "b" $c `d` \e 100%/moritane)");
    ASSERT_TRUE(entry);
    EXPECT_NE(entry.value().find(R"(Exec="/home/a \\"b\\" \\$c \\`d\\` \\\\e 100%%/moritane")"), std::string::npos)
        << entry.value();
    EXPECT_FALSE(XdgAutostartLoginItemService::entryFor("/home/a\nb/moritane"));
    EXPECT_FALSE(XdgAutostartLoginItemService::entryFor("moritane")) << "a relative path";
}

}  // namespace
}  // namespace moritane
