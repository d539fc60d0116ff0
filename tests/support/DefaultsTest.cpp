#include "platform/sim/MemoryDefaults.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(DefaultsTest, StringReadsTextAndNumbersAndNothingElse) {
    MemoryDefaults defaults;
    defaults.setObject("text", std::string("abc"));
    defaults.setObject("integer", std::int64_t{-42});
    defaults.setObject("yes", true);
    EXPECT_EQ(defaults.string("text"), "abc");
    EXPECT_EQ(defaults.string("integer"), "-42");
    EXPECT_EQ(defaults.string("yes"), "1");
    EXPECT_EQ(defaults.string("missing"), std::nullopt);
}

TEST(DefaultsTest, BooleanFollowsTheUsualReadingOfEachType) {
    struct Row {
        DefaultsValue value;
        bool expected;
    };
    const std::vector<Row> rows{
        {std::monostate{}, false},
        {true, true},
        {false, false},
        {std::int64_t{0}, false},
        {std::int64_t{-3}, true},
        {std::string("YES"), true},
        {std::string("true"), true},
        {std::string("  +007"), true},
        {std::string("000"), false},
        {std::string("no"), false},
        {std::string(""), false},
        {std::string("False"), false},
    };
    for (const auto& row : rows) {
        MemoryDefaults defaults;
        defaults.setObject("key", row.value);
        EXPECT_EQ(defaults.boolean("key"), row.expected) << row.value.index();
    }
}

TEST(DefaultsTest, RemovingAnEntryMakesItAbsent) {
    MemoryDefaults defaults;
    defaults.setObject("key", true);
    defaults.removeObject("key");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(defaults.object("key")));
}

}  // namespace
}  // namespace moritane
