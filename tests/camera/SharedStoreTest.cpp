#include "camera/SharedStore.h"

#include "support/Files.h"
#include "testsupport/CoreFixture.h"

#include <thread>

namespace moritane {
namespace {

using namespace std::chrono_literals;
using SharedStoreTest = testing::CoreFixture;

TEST_F(SharedStoreTest, TheContainerWinsElseEverythingLiesInTheFixedDirectoryMadeOnce) {
    container.fixed = root / "a" / "fixed";
    EXPECT_EQ(store.stateFileURL(), root / "state.json");
    EXPECT_EQ(container.lastGroupIdentifier, "K7P3W9XQ2T.org.quelbrand.moritane");
    EXPECT_FALSE(std::filesystem::exists(root / "a"));
    container.container = std::nullopt;  // asked anew at every use
    std::vector<std::thread> firstUses;
    for (int i = 0; i < 4; ++i) {
        firstUses.emplace_back([&] { EXPECT_EQ(store.sharedDirectoryURL(), root / "a" / "fixed"); });
    }
    for (auto& use : firstUses) {
        use.join();
    }
    EXPECT_TRUE(std::filesystem::is_directory(root / "a" / "fixed"));
    std::filesystem::remove(root / "a" / "fixed");
    EXPECT_EQ(store.stateFileURL(), root / "a" / "fixed" / "state.json");
    EXPECT_FALSE(std::filesystem::exists(root / "a" / "fixed"));  // made once per process, not again
}

TEST_F(SharedStoreTest, ImagesDirectoryIsMadeAtEveryReadAndAFileInTheWayIsIgnored) {
    EXPECT_EQ(store.imagesDirectoryURL(), root / "Images" / "");
    EXPECT_TRUE(std::filesystem::is_directory(root / "Images"));
    std::filesystem::remove(root / "Images");
    testing::writeFile(root / "Images", "not a folder");
    EXPECT_EQ(store.imagesDirectoryURL(), root / "Images" / "");
    EXPECT_EQ(testing::readFile(root / "Images"), "not a folder");
}

TEST_F(SharedStoreTest, HeartbeatNeverFollowsALinkNorEmptiesWhatIsThere) {
    testing::writeFile(root / "victim", "precious");
    const auto victimTime = files::modificationTime(root / "victim");
    std::filesystem::create_symlink(root / "victim", root / "heartbeat");
    const auto now = std::chrono::system_clock::time_point(1800000000s);
    store.refreshHeartbeat(now);
    EXPECT_EQ(testing::readFile(root / "victim"), "precious");
    EXPECT_EQ(files::modificationTime(root / "victim"), victimTime);
    EXPECT_EQ(files::modificationTime(root / "heartbeat"), now);  // the link's own time
    // A dangling link is not "missing": creating through it would make the file it names.
    std::filesystem::remove(root / "victim");
    store.refreshHeartbeat(now + 1s);
    EXPECT_FALSE(files::exists(root / "victim"));
}

}  // namespace
}  // namespace moritane
