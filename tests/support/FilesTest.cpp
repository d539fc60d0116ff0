#include "support/Files.h"

#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace moritane {
namespace {

using testing::TemporaryDirectory;

std::vector<std::string> entries(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(FilesTest, ReadFileReadsWholeFilesAndRefusesDirectoriesMissingAndOversizedOnes) {
    const TemporaryDirectory directory;
    testing::writeFile(directory / "a", std::string(100000, 'x'));
    EXPECT_EQ(files::readFile(directory / "a", 100000).value().size(), 100000U);
    EXPECT_EQ(files::readFile(directory / "a", 99999).error().code, EFBIG);
    EXPECT_EQ(files::readFile(directory / "missing", 10).error().code, ENOENT);
    EXPECT_EQ(files::readFile(directory.path(), 10).error().code, EISDIR);
    // A pipe with no writer would block an ordinary open forever; a device is no file either.
    ASSERT_EQ(::mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(files::readFile(directory / "pipe", 10).error().code, EINVAL);
    EXPECT_EQ(files::readFile("/dev/zero", 10).error().code, EINVAL);
}

TEST(FilesTest, AtomicWriteReplacesTheTargetWithDefaultPermissionsAndLeavesNothingElse) {
    const TemporaryDirectory directory;
    const auto target = directory / "state.json";
    const auto previous = ::umask(022);
    ASSERT_FALSE(files::writeFileAtomically(target, "first"));
    ASSERT_FALSE(files::writeFileAtomically(target, "second"));
    ::umask(previous);
    EXPECT_EQ(testing::readFile(target), "second");
    EXPECT_EQ(entries(directory.path()), std::vector<std::string>{"state.json"});
    struct stat status {};
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST(FilesTest, AnAtomicWriteThatCannotBeMadeFailsAndLeavesNothingBehind) {
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory / "state.json");
    testing::writeFile(directory / "file", "");
    for (const auto& [target, code] :
         std::vector<std::pair<std::filesystem::path, int>>{{directory / "state.json", EISDIR},
                                                            {directory / "missing" / "f", ENOENT},
                                                            {directory / "file" / "f", ENOTDIR}}) {
        const auto error = files::writeFileAtomically(target, "x");
        ASSERT_TRUE(error) << target;
        EXPECT_EQ(error->code, code) << target;
        EXPECT_NE(error->description.find(target.string()), std::string::npos) << error->description;
    }
    EXPECT_EQ(entries(directory.path()), (std::vector<std::string>{"file", "state.json"}));
}

TEST(FilesTest, ModificationTimeIsSetExactlyAndAccessTimeIsLeftAlone) {
    const TemporaryDirectory directory;
    const auto path = directory / "heartbeat";
    ASSERT_TRUE(files::createEmptyFile(path));
    struct stat before {};
    ::stat(path.c_str(), &before);
    const auto when =
        std::chrono::system_clock::time_point(std::chrono::seconds(1700000000)) + std::chrono::microseconds(250);
    ASSERT_TRUE(files::setModificationTime(path, when));
    EXPECT_EQ(files::modificationTime(path), when);
    struct stat after {};
    ::stat(path.c_str(), &after);
    EXPECT_EQ(after.st_atim.tv_sec, before.st_atim.tv_sec);
    EXPECT_EQ(after.st_atim.tv_nsec, before.st_atim.tv_nsec);
    EXPECT_FALSE(files::setModificationTime(directory / "missing", when));
}

TEST(FilesTest, StaleTemporaryFilesOfAnInterruptedWriteAreRemovedAndNothingElse) {
    const TemporaryDirectory directory;
    const auto target = directory / "state.json";
    const auto old = std::chrono::system_clock::now() - std::chrono::minutes(1);
    const std::vector<std::string> ours{".state.json.6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8.tmp",
                                        ".state.json.6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8.tmp"};
    const std::vector<std::string> kept{".state.json.00000000-0000-0000-0000-00000000000X.tmp",
                                        ".images.json.6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8.tmp", "state.json", "young"};
    for (const auto& name : ours) {
        testing::writeFile(directory / name, "{");
        files::setModificationTime(directory / name, old);
    }
    for (const auto& name : kept) {
        testing::writeFile(directory / name, "{");
    }
    // One being written now is young, and stays.
    std::filesystem::rename(directory / "young", directory / ".state.json.11111111-2222-3333-4444-555555555555.tmp");
    auto removed = files::removeStaleTemporaryFiles(target, old + std::chrono::seconds(1));
    std::sort(removed.begin(), removed.end());
    EXPECT_EQ(removed, (std::vector<std::filesystem::path>{directory / ours[0], directory / ours[1]}));
    EXPECT_EQ(entries(directory.path()).size(), kept.size());
}

TEST(FilesTest, CopyFileCopiesBytesExactlyAndNeverReplaces) {
    const TemporaryDirectory directory;
    std::string bytes(300000, '\0');
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<char>(index * 7919U % 251U);
    }
    testing::writeFile(directory / "source", bytes);
    std::filesystem::create_symlink(directory / "source", directory / "link");
    ASSERT_FALSE(files::copyFile(directory / "link", directory / "copy"));
    EXPECT_EQ(testing::readFile(directory / "copy"), bytes);
    EXPECT_FALSE(std::filesystem::is_symlink(directory / "copy"));

    testing::writeFile(directory / "other", "other");
    EXPECT_EQ(files::copyFile(directory / "other", directory / "copy")->code, EEXIST);
    EXPECT_EQ(testing::readFile(directory / "copy"), bytes);
}

TEST(FilesTest, SetAsideRenamesWithTheUtcTimeAndNeverReplacesAnEarlierCopy) {
    const TemporaryDirectory directory;
    const auto when = std::chrono::system_clock::time_point(std::chrono::seconds(1795000000));
    EXPECT_EQ(files::setAsidePath("/c/defaults.json", when),
              std::filesystem::path("/c/defaults.json.unreadable-20261118T110640Z"));
    for (const std::string content : {"first", "second", "third"}) {
        testing::writeFile(directory / "images.json", content);
        ASSERT_TRUE(files::setAside(directory / "images.json", when));
    }
    EXPECT_EQ(entries(directory.path()), (std::vector<std::string>{"images.json.unreadable-20261118T110640Z",
                                                                   "images.json.unreadable-20261118T110640Z-2",
                                                                   "images.json.unreadable-20261118T110640Z-3"}));
    EXPECT_EQ(testing::readFile(directory / "images.json.unreadable-20261118T110640Z"), "first");
    EXPECT_EQ(testing::readFile(directory / "images.json.unreadable-20261118T110640Z-3"), "third");
    EXPECT_EQ(files::setAside(directory / "images.json", when).error().code, ENOENT);
}

}  // namespace
}  // namespace moritane
