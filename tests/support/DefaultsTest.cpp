#include "platform/sim/MemoryDefaults.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(DefaultsTest, EachTypeReadsAsTextAndAsABooleanTheUsualWay) {
    struct Row {
        DefaultsValue value;
        std::optional<std::string> text;
        bool boolean;
    };
    const std::vector<Row> rows{
        {std::monostate{}, std::nullopt, false},
        {true, "1", true},
        {false, "0", false},
        {std::int64_t{0}, "0", false},
        {std::int64_t{-42}, "-42", true},
        {std::string("YES"), "YES", true},
        {std::string("true"), "true", true},
        {std::string("  +007"), "  +007", true},
        {std::string("000"), "000", false},
        {std::string("no"), "no", false},
        {std::string(""), "", false},
        {std::string("False"), "False", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.value_or("(none)"));
        MemoryDefaults defaults;
        defaults.setObject("key", row.value);
        EXPECT_EQ(defaults.string("key"), row.text);
        EXPECT_EQ(defaults.boolean("key"), row.boolean);
    }
}

}  // namespace
}  // namespace moritane
