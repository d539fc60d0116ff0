#include "platform/linux/JsonFileDefaults.h"

#include "platform/sim/CapturingLog.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace moritane {
namespace {

using testing::TemporaryDirectory;

std::vector<std::string> namesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(JsonFileDefaultsTest, EntriesSurviveARestartAndTheDirectoryIsMadeAtTheFirstWrite) {
    const TemporaryDirectory root;
    const auto path = root / "config" / "moritane" / "defaults.json";
    CapturingLog log;
    {
        JsonFileDefaults defaults(path, log);
        EXPECT_FALSE(std::filesystem::exists(path));
        defaults.setObject("text", std::string("6F1C2A3B"));
        defaults.setObject("flag", true);
        defaults.setObject("number", std::int64_t{-7});
        defaults.setObject("gone", true);
        defaults.removeObject("gone");
    }
    const JsonFileDefaults reopened(path, log);
    EXPECT_EQ(reopened.string("text"), "6F1C2A3B");
    EXPECT_TRUE(reopened.boolean("flag"));
    EXPECT_EQ(std::get<std::int64_t>(reopened.object("number")), -7);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(reopened.object("gone")));
    EXPECT_TRUE(log.lines().empty());
}

TEST(JsonFileDefaultsTest, EntriesOfEveryOtherKindAreGivenBackAndKeptUnchanged) {
    const TemporaryDirectory root;
    const auto path = root / "defaults.json";
    const auto stored = nlohmann::json::parse(
        R"({"ratio": 0.5, "list": [1, {"a": null}], "GlobalShortcuts_cameraOn": {"carbonKeyCode": 18},
            "nothing": null, "huge": 18446744073709551615, "hasCompletedOnboarding": true})");
    testing::writeFile(path, stored.dump());
    CapturingLog log;
    JsonFileDefaults defaults(path, log);
    for (const auto* key : {"ratio", "list", "GlobalShortcuts_cameraOn", "nothing", "huge"}) {
        EXPECT_EQ(defaults.object(key), DefaultsValue(OtherDefaultsValue{stored[key]})) << key;
    }
    EXPECT_EQ(defaults.string("ratio"), "0.5");
    EXPECT_TRUE(defaults.boolean("ratio"));
    defaults.setObject("lastSelectedImageId", std::string("x"));
    defaults.setObject("list", defaults.object("list"));
    auto expected = stored;
    expected["lastSelectedImageId"] = "x";
    EXPECT_EQ(JsonFileDefaults::decode(testing::readFile(path)), expected);
}

TEST(JsonFileDefaultsTest, AnyFileUpToTheLimitLoadsAndSavesInTimeAndMemoryOfItsSize) {
    const TemporaryDirectory root;
    const auto path = root / "defaults.json";
    const std::size_t depth = 1000000;
    testing::writeFile(path, R"({"deep": )" + std::string(depth, '[') + std::string(depth, ']') + "}");
    CapturingLog log;
    JsonFileDefaults defaults(path, log);
    defaults.setObject("key", true);
    EXPECT_LT(std::filesystem::file_size(path), 100U);
    // Wide is fine: each entry is written on a line of its own, without indentation that grows.
    std::string wide = R"({"wide": [)";
    for (int index = 0; index < 200; ++index) {
        wide += "[" + std::string(index % 2 == 0 ? "[[[[1]]]]" : "2") + "],";
    }
    testing::writeFile(path, wide + "0]}");
    JsonFileDefaults reloaded(path, log);
    reloaded.setObject("key", true);
    EXPECT_LT(std::filesystem::file_size(path), wide.size() + 30);
}

TEST(JsonFileDefaultsTest, AFileThatCannotBeDecodedIsSetAsideNotOverwritten) {
    for (const std::string corrupt : {"{\"hasCompletedOnboarding\": tru", "[]", "\xff\xfe", ""}) {
        const TemporaryDirectory root;
        const auto path = root / "defaults.json";
        testing::writeFile(path, corrupt);
        CapturingLog log;
        JsonFileDefaults defaults(path, log);
        EXPECT_FALSE(defaults.boolean("hasCompletedOnboarding"));
        defaults.setObject("key", true);
        const auto names = namesIn(root.path());
        ASSERT_EQ(names.size(), 2U);
        EXPECT_EQ(names[0], "defaults.json");
        EXPECT_TRUE(names[1].starts_with("defaults.json.unreadable-")) << names[1];
        EXPECT_EQ(testing::readFile(root / names[1]), corrupt);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_TRUE(log.lines()[0].starts_with("Defaults: could not load ")) << log.lines()[0];
    }
}

TEST(JsonFileDefaultsTest, APipeInPlaceOfTheFileIsSetAsideWithoutWaitingAndTheDirectoryIsPrivate) {
    const TemporaryDirectory root;
    const auto path = root / "moritane" / "defaults.json";
    std::filesystem::create_directory(root / "moritane");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    CapturingLog log;
    JsonFileDefaults defaults(path, log);
    defaults.setObject("key", true);
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_EQ(namesIn(root / "moritane").size(), 2U);
    std::filesystem::remove_all(root / "moritane");
    JsonFileDefaults(path, log).setObject("key", true);
    struct stat status {};
    ASSERT_EQ(::stat((root / "moritane").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST(JsonFileDefaultsTest, AWriteThatFailsIsLoggedAndMemoryKeepsTheValue) {
    const TemporaryDirectory root;
    testing::writeFile(root / "config", "a file where the directory should be");
    CapturingLog log;
    JsonFileDefaults defaults(root / "config" / "defaults.json", log);
    defaults.setObject("key", std::string("value"));
    EXPECT_EQ(defaults.string("key"), "value");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.lines()[0].starts_with("Defaults: could not write ")) << log.lines()[0];
}

}  // namespace
}  // namespace moritane
