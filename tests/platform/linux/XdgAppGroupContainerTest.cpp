#include "platform/linux/XdgAppGroupContainer.h"

#include "platform/sim/CapturingLog.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace moritane {
namespace {

using testing::TemporaryDirectory;

class XdgAppGroupContainerTest : public ::testing::Test {
protected:
    CapturingLog m_log;
    const TemporaryDirectory root;
};

TEST_F(XdgAppGroupContainerTest, TheContainerLiesInTheDataHomeElseUnderTheHomeAndIsMadePrivate) {
    const XdgAppGroupContainer container(
        {.xdgDataHome = (root / "data").string(), .home = "/elsewhere", .accountHome = ""}, m_log);
    const auto url = container.containerURL("GROUP.id");
    ASSERT_EQ(url, root / "data" / "GROUP.id");
    struct stat status {};
    ASSERT_EQ(::stat(url->c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(container.containerURL("GROUP.id"), url);  // an existing one is taken as it is
    const XdgAppGroupContainer relative(
        {.xdgDataHome = "relative/data", .home = root.path().string(), .accountHome = ""}, m_log);
    EXPECT_EQ(relative.containerURL("G"), root / ".local/share/G");
}

TEST_F(XdgAppGroupContainerTest, NoHomeOrAFileInTheWayGivesNoContainerAndTheLogSaysSoOnce) {
    EXPECT_EQ(XdgAppGroupContainer({.xdgDataHome = "", .home = "", .accountHome = "/x"}, m_log).containerURL("G"),
              std::nullopt);
    testing::writeFile(root / "G", "");
    const XdgAppGroupContainer blocked({.xdgDataHome = root.path().string(), .home = "", .accountHome = "/x"}, m_log);
    EXPECT_EQ(blocked.containerURL("G"), std::nullopt);
    EXPECT_EQ(blocked.containerURL("G"), std::nullopt);
    EXPECT_EQ(m_log.lines(),
              (std::vector<std::string>{
                  "XdgAppGroupContainer: no shared directory in the data home (neither XDG_DATA_HOME nor HOME names a "
                  "directory); using \"/x/.moritane\" instead",
                  "XdgAppGroupContainer: no shared directory in the data home (cannot make \"" + (root / "G").string() +
                      "\": File exists); using \"/x/.moritane\" instead"}));
}

TEST_F(XdgAppGroupContainerTest, TheFixedDirectoryIsInTheAccountsOwnHome) {
    EXPECT_EQ(XdgAppGroupContainer({.xdgDataHome = "", .home = "/h", .accountHome = "/account"}, m_log)
                  .fixedSharedDirectory(),
              "/account/.moritane");
    EXPECT_EQ(XdgAppGroupContainer({.xdgDataHome = "", .home = "/h", .accountHome = ""}, m_log).fixedSharedDirectory(),
              "/h/.moritane");
    const auto nowhere =
        XdgAppGroupContainer({.xdgDataHome = "", .home = "", .accountHome = ""}, m_log).fixedSharedDirectory();
    EXPECT_TRUE(nowhere.is_absolute());
    EXPECT_NE(nowhere.string().find("/nonexistent"), std::string::npos);
}

}  // namespace
}  // namespace moritane
