#include "platform/linux/XdgAppGroupContainer.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace moritane {
namespace {

using testing::TemporaryDirectory;

TEST(XdgAppGroupContainerTest, TheContainerLiesInTheDataHomeAndIsMadePrivate) {
    const TemporaryDirectory root;
    const XdgAppGroupContainer container(
        {.xdgDataHome = (root / "data").string(), .home = "/elsewhere", .accountHome = ""});
    const auto url = container.containerURL("GROUP.id");
    ASSERT_EQ(url, root / "data" / "GROUP.id");
    struct stat status {};
    ASSERT_EQ(::stat(url->c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(container.containerURL("GROUP.id"), url);  // an existing one is taken as it is
}

TEST(XdgAppGroupContainerTest, ARelativeDataHomeIsIgnoredForTheHomeDefault) {
    const TemporaryDirectory root;
    const XdgAppGroupContainer container(
        {.xdgDataHome = "relative/data", .home = root.path().string(), .accountHome = ""});
    EXPECT_EQ(container.containerURL("G"), root / ".local" / "share" / "G");
}

TEST(XdgAppGroupContainerTest, NoHomeOrAFileInTheWayGivesNoContainer) {
    const TemporaryDirectory root;
    EXPECT_EQ(XdgAppGroupContainer({.xdgDataHome = "", .home = "", .accountHome = "/x"}).containerURL("G"),
              std::nullopt);
    testing::writeFile(root / "G", "");
    EXPECT_EQ(
        XdgAppGroupContainer({.xdgDataHome = root.path().string(), .home = "", .accountHome = ""}).containerURL("G"),
        std::nullopt);
}

TEST(XdgAppGroupContainerTest, TheFixedDirectoryIsInTheAccountsOwnHome) {
    EXPECT_EQ(XdgAppGroupContainer({.xdgDataHome = "", .home = "/h", .accountHome = "/account"}).fixedSharedDirectory(),
              "/account/.moritane");
    EXPECT_EQ(XdgAppGroupContainer({.xdgDataHome = "", .home = "/h", .accountHome = ""}).fixedSharedDirectory(),
              "/h/.moritane");
    const auto nowhere =
        XdgAppGroupContainer({.xdgDataHome = "", .home = "", .accountHome = ""}).fixedSharedDirectory();
    EXPECT_TRUE(nowhere.is_absolute());
    EXPECT_NE(nowhere.string().find("/nonexistent"), std::string::npos);
}

}  // namespace
}  // namespace moritane
