#include "camera/Constants.h"

#include <gtest/gtest.h>

namespace moritane::Constants {
namespace {

TEST(ConstantsTest, LanguagePrefixFollowsTheFirstMatchingRule) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"ja", ""},       {"ja-JP", "/en"}, {"zh-Hans", "/zh"}, {"zh_TW", "/zh"}, {"zh", "/zh"},
        {"en-GB", "/en"}, {"ko", "/ko"},    {"es-419", "/es"},  {"fr-CA", "/fr"}, {"de", "/de"},
        {"pt-BR", "/en"}, {"", "/en"},      {"JA", "/en"},
    };
    for (const auto& [language, prefix] : rows) {
        EXPECT_EQ(languagePathPrefix(language), prefix) << language;
    }
}

TEST(ConstantsTest, WebsiteUrlAlwaysEndsInASlash) {
    const std::string base(websiteBase);
    EXPECT_EQ(websiteURL("support", {"en"}), base + "/en/support/");
    EXPECT_EQ(websiteURL("", {"en"}), base + "/en/");
    EXPECT_EQ(websiteURL("terms", {"ja"}), base + "/terms/");
    EXPECT_EQ(websiteURL("privacy", {}), base + "/privacy/");  // no localisation: Japanese
    EXPECT_EQ(websiteURL("", {"de", "ja"}), base + "/de/");    // only the first counts
}

}  // namespace
}  // namespace moritane::Constants
