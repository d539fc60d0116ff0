#include "camera/SharedStore.h"

#include "platform/sim/FakeAppGroupContainer.h"
#include "support/Files.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <thread>

namespace moritane {
namespace {

using testing::TemporaryDirectory;
using namespace std::chrono_literals;

TEST(SharedStoreTest, TheContainerWinsElseEverythingLiesInTheFixedDirectoryMadeOnce) {
    const TemporaryDirectory root;
    FakeAppGroupContainer container(root.path(), root / "a" / "fixed");
    const SharedStore store(container);
    EXPECT_EQ(store.stateFileURL(), root / "state.json");
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

TEST(SharedStoreTest, ImagesDirectoryIsMadeAtEveryReadAndAFileInTheWayIsIgnored) {
    const TemporaryDirectory root;
    const FakeAppGroupContainer container(root.path(), root / "fixed");
    const SharedStore store(container);
    EXPECT_EQ(store.imagesDirectoryURL(), root / "Images" / "");
    EXPECT_TRUE(std::filesystem::is_directory(root / "Images"));
    std::filesystem::remove(root / "Images");
    testing::writeFile(root / "Images", "not a folder");
    EXPECT_EQ(store.imagesDirectoryURL(), root / "Images" / "");
    EXPECT_EQ(testing::readFile(root / "Images"), "not a folder");
}

TEST(SharedStoreTest, HeartbeatNeverFollowsALinkNorEmptiesWhatIsThere) {
    const TemporaryDirectory root;
    const FakeAppGroupContainer container(root.path(), root / "fixed");
    const SharedStore store(container);
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
