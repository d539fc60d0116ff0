#include "platform/linux/JsonFileDefaults.h"

#include "platform/sim/CapturingLog.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

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

TEST(JsonFileDefaultsTest, EntriesOfOtherTypesAreKeptThroughWrites) {
    const TemporaryDirectory root;
    const auto path = root / "defaults.json";
    testing::writeFile(path, R"({"ratio": 0.5, "list": [1, 2], "hasCompletedOnboarding": true})");
    CapturingLog log;
    JsonFileDefaults defaults(path, log);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(defaults.object("ratio")));
    defaults.setObject("lastSelectedImageId", std::string("x"));
    const auto written = JsonFileDefaults::decode(testing::readFile(path));
    ASSERT_TRUE(written);
    EXPECT_EQ((*written)["ratio"], 0.5);
    EXPECT_EQ((*written)["list"], nlohmann::json({1, 2}));
    EXPECT_EQ((*written)["hasCompletedOnboarding"], true);
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
