#include "platform/linux/InotifyDirectoryWatcher.h"

#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace moritane {
namespace {

using Change = DirectoryWatcher::Change;
using Place = Change::Place;

// The kernel queues an event as the file operation returns, so each step reads what it caused.
class InotifyDirectoryWatcherTest : public ::testing::Test {
protected:
    std::vector<Change> changes() {
        m_changes.clear();
        watcher.dispatch();
        return m_changes;
    }
    void follow() {
        ASSERT_EQ(watcher.watch(root.path(), [this](const Change& change) { m_changes.push_back(change); }),
                  std::nullopt);
    }

    testing::TemporaryDirectory root;
    InotifyDirectoryWatcher watcher;

private:
    std::vector<Change> m_changes;
};

TEST_F(InotifyDirectoryWatcherTest, SeesReplacementsTheImagesFolderMadeLaterAndTheDirectoryGoingButNotTheHeartbeat) {
    testing::writeFile(root / "heartbeat", "");
    follow();
    ASSERT_EQ(files::writeFileAtomically(root / "state.json", R"({"mode":"off"})"), std::nullopt);
    const auto replaced = changes();
    EXPECT_NE(std::find(replaced.begin(), replaced.end(), Change{Place::directory, "state.json"}), replaced.end());

    files::setModificationTime(root / "heartbeat", std::chrono::system_clock::now());
    EXPECT_TRUE(changes().empty());

    std::filesystem::create_directory(root / "Images");
    EXPECT_EQ(changes(), (std::vector<Change>{Change{Place::imagesFolder, {}}}));
    testing::writeFile(root / "Images/A.png", "x");
    EXPECT_EQ(changes().front(), (Change{Place::imagesFolder, "A.png"}));

    // Gone, and a directory that is not there cannot be followed.
    std::filesystem::rename(root.path(), root.path().string() + ".moved");
    EXPECT_EQ(changes().back(), (Change{Place::directoryGone, {}}));
    std::filesystem::rename(root.path().string() + ".moved", root.path());
    testing::writeFile(root / "state.json", "{}");
    EXPECT_TRUE(changes().empty()) << "nothing more comes from a watch that ended";
    EXPECT_NE(watcher.watch(root / "missing", [](const Change&) {}), std::nullopt);
}

}  // namespace
}  // namespace moritane
