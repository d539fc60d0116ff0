#include "support/Uuid.h"

#include <gtest/gtest.h>

#include <regex>

namespace moritane {
namespace {

TEST(UuidTest, TextIsCanonicalUpperCaseAndReadsBackInEitherCase) {
    const auto uuid = Uuid::random();
    const auto text = uuid.uuidString();
    EXPECT_TRUE(
        std::regex_match(text, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << text;
    EXPECT_EQ(Uuid::fromString(text), uuid);
    const auto lower = Uuid::fromString("0a1b2c3d-4e5f-6a7b-8c9d-aebfc0d1e2f3");
    ASSERT_TRUE(lower);
    EXPECT_EQ(lower->uuidString(), "0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3");
    EXPECT_EQ(Uuid::fromString("0A1B2C3D-4e5f-6A7B-8c9d-AEBFC0D1E2F3"), lower);
}

TEST(UuidTest, RejectsEverythingButTheCanonicalForm) {
    for (const auto* text : {
             "",
             "0A1B2C3D4E5F6A7B8C9DAEBFC0D1E2F3",        // no hyphens
             "{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}",  // braces
             "0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F",     // short
             "0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F30",   // long
             "0A1B2C3D-4E5F-6A7B-8C9DAAEBFC0D1E2F3",    // hyphen moved
             "0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2G3",    // not hexadecimal
             " 0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F",    // blank
         }) {
        EXPECT_FALSE(Uuid::fromString(text)) << text;
    }
}

}  // namespace
}  // namespace moritane
