#include "support/Uuid.h"

#include <gtest/gtest.h>

#include <set>

namespace moritane {
namespace {

TEST(UuidTest, TextIsCanonicalUpperCaseAndReadsBack) {
    const auto uuid = Uuid::random();
    const auto text = uuid.uuidString();
    ASSERT_EQ(text.size(), 36U);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            EXPECT_EQ(text[i], '-');
        } else {
            EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(text[i])) || (text[i] >= 'A' && text[i] <= 'F'))
                << text;
        }
    }
    EXPECT_EQ(text[14], '4');  // version 4
    EXPECT_EQ(Uuid::fromString(text), uuid);
}

TEST(UuidTest, AcceptsEitherCaseAndWritesUpperCase) {
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

TEST(UuidTest, RandomIdentifiersDiffer) {
    std::set<Uuid> seen;
    for (int i = 0; i < 1000; ++i) {
        seen.insert(Uuid::random());
    }
    EXPECT_EQ(seen.size(), 1000U);
}

}  // namespace
}  // namespace moritane
