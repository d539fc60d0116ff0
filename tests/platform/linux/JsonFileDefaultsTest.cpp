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
    struct stat status {};
    ASSERT_EQ(::stat(path.parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);  // only this user's programs have business there
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

TEST(JsonFileDefaultsTest, EntriesAreWrittenOneALineWithoutIndentationThatGrowsWithDepth) {
    const TemporaryDirectory root;
    std::string wide = R"({"wide": [)";
    for (int index = 0; index < 200; ++index) {
        wide += index % 2 == 0 ? "[[[[1]]]]," : "2,";
    }
    testing::writeFile(root / "defaults.json", wide + "0]}");
    CapturingLog log;
    JsonFileDefaults(root / "defaults.json", log).setObject("key", true);
    EXPECT_LT(std::filesystem::file_size(root / "defaults.json"), wide.size() + 30);
}

TEST(JsonFileDefaultsTest, AFileThatCannotBeDecodedIsSetAsideNotOverwritten) {
    const std::string pipe = "(a named pipe)";
    const std::string deep = R"({"deep": )" + std::string(1000000, '[') + std::string(1000000, ']') + "}";
    for (const std::string& corrupt : {std::string("{\"hasCompletedOnboarding\": tru"), std::string("[]"),
                                       std::string("\xff\xfe"), std::string(), deep, pipe}) {
        SCOPED_TRACE(corrupt.substr(0, 40));
        const TemporaryDirectory root;
        const auto path = root / "defaults.json";
        if (corrupt == pipe) {
            ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);  // must be neither waited on nor read
        } else {
            testing::writeFile(path, corrupt);
        }
        CapturingLog log;
        JsonFileDefaults defaults(path, log);
        EXPECT_FALSE(defaults.boolean("hasCompletedOnboarding"));
        defaults.setObject("key", true);
        EXPECT_LT(std::filesystem::file_size(path), 100U);
        const auto names = namesIn(root.path());
        ASSERT_EQ(names.size(), 2U);
        EXPECT_TRUE(names[1].starts_with("defaults.json.unreadable-")) << names[1];
        EXPECT_EQ(corrupt == pipe ? pipe : testing::readFile(root / names[1]), corrupt);
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
