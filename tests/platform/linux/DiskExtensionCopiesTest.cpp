#include "platform/linux/DiskExtensionCopies.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <algorithm>

namespace moritane {
namespace {

class DiskExtensionCopiesTest : public ::testing::Test {
protected:
    void SetUp() override { makeEmbedded("1.0", "1"); }
    void makeEmbedded(const std::string& shortVersion, const std::string& build) const {
        std::filesystem::create_directories(embedded);
        testing::writeFile(embedded / "Info.json", R"({"CFBundleShortVersionString":")" + shortVersion +
                                                       R"(","CFBundleVersion":")" + build + R"("})");
        testing::writeFile(embedded / "moritane-camera", "#!/bin/sh\n");
        std::filesystem::permissions(embedded / "moritane-camera", std::filesystem::perms::owner_all);
    }
    /// Whether an install left a partial copy behind.
    [[nodiscard]] bool anyHiddenEntry() const {
        return std::ranges::any_of(std::filesystem::directory_iterator(root), [](const auto& entry) {
            const auto name = entry.path().filename().string();
            return name.starts_with('.') && name != ".lock";
        });
    }

    testing::TemporaryDirectory directory;
    std::filesystem::path embedded = directory / "resources/org.quelbrand.moritane.cameraextension.systemextension";
    std::filesystem::path root = directory / "data/org.quelbrand.moritane.cameraextension";
    DiskExtensionCopies copies{embedded, root};
};

TEST_F(DiskExtensionCopiesTest, InstallsReplacesAndLeavesOnlyTheCurrentCopyAfterRemovingStaleOnes) {
    EXPECT_TRUE(copies.installed().empty());
    ASSERT_EQ(copies.install(), std::nullopt);
    EXPECT_EQ(copies.installed(), (std::vector<ExtensionCopy>{{"1.0", "1", true, true}}));
    EXPECT_EQ(::access(copies.currentProgram().c_str(), X_OK), 0);

    makeEmbedded("1.1", "2");
    ASSERT_EQ(copies.install(), std::nullopt);
    EXPECT_EQ(copies.installed(), (std::vector<ExtensionCopy>{{"1.0", "1", false, true}, {"1.1", "2", true, true}}));
    // The same versions again while they are current: a fresh copy, made current beside the old.
    ASSERT_EQ(copies.install(), std::nullopt);
    EXPECT_EQ(copies.installed().size(), 3U);

    std::filesystem::create_directories(root / "0.9-7");                  // half-installed: no Info.json, no program
    std::filesystem::create_directories(root / ".incoming-Xy12Zq/part");  // an install cut short
    EXPECT_EQ(copies.installed().front(), (ExtensionCopy{"", "", false, false}));
    copies.removeStale();
    EXPECT_EQ(copies.installed(), (std::vector<ExtensionCopy>{{"1.1", "2", true, true}}));
    EXPECT_FALSE(anyHiddenEntry());
    EXPECT_EQ(::access(copies.currentProgram().c_str(), X_OK), 0);
}

TEST_F(DiskExtensionCopiesTest, AnEmbeddedCopyThatCannotBeCopiedOrReadLeavesTheCurrentOneAsItWas) {
    ASSERT_EQ(copies.install(), std::nullopt);
    makeEmbedded("2.0", "5");
    // A file that cannot be copied: the install fails part-way, as on a full disk.
    ASSERT_EQ(::mkfifo((embedded / "pipe").c_str(), 0600), 0);
    const auto failure = copies.install();
    ASSERT_TRUE(failure.has_value());
    EXPECT_NE(failure->description.find("pipe"), std::string::npos) << failure->description;
    EXPECT_EQ(copies.installed(), (std::vector<ExtensionCopy>{{"1.0", "1", true, true}}));
    EXPECT_FALSE(anyHiddenEntry());

    std::filesystem::remove(embedded / "pipe");
    std::filesystem::permissions(embedded / "moritane-camera", std::filesystem::perms::owner_read);
    EXPECT_FALSE(copies.embedded());
    testing::writeFile(embedded / "Info.json", R"({"CFBundleShortVersionString":"2.0"})");
    EXPECT_FALSE(copies.embedded());
    std::filesystem::remove_all(embedded);
    EXPECT_FALSE(copies.embedded());
    EXPECT_TRUE(copies.install().has_value());
    EXPECT_EQ(copies.installed(), (std::vector<ExtensionCopy>{{"1.0", "1", true, true}}));
}

}  // namespace
}  // namespace moritane
