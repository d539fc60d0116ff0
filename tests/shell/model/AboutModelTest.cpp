#include "shell/model/AboutModel.h"

#include <gtest/gtest.h>

#include <set>

namespace moritane {
namespace {

using json = nlohmann::json;

// Keys without a text come back as themselves.
const Localization kLocalization({{"en", {{"about.version", {"Version %@ (%@)", ""}}}}}, {"en"});

std::vector<std::string> titles(const AboutContent& content) {
    std::vector<std::string> made;
    for (const auto& row : content.documentRows) {
        made.push_back(row.title);
    }
    return made;
}

TEST(AboutModelTest, TheLegalNoticeIsThirdOnlyInJapanese) {
    const std::vector<std::string> japanese{"about.link.terms", "about.link.privacy", "about.link.tokushoho",
                                            "about.link.support"};
    const std::vector<std::string> other{"about.link.terms", "about.link.privacy", "about.link.support"};
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> cases{
        {{"ja"}, japanese}, {{}, japanese}, {{"ja", "en"}, japanese}, {{"en", "ja"}, other}, {{"de"}, other}};
    for (const auto& [languages, expected] : cases) {
        AboutState state;
        state.preferredLocalizations = languages;
        EXPECT_EQ(titles(makeAboutContent(state, kLocalization)), expected) << ::testing::PrintToString(languages);
    }
    AboutState english;  // the Japanese addresses are checked through the view
    english.preferredLocalizations = {"en"};
    EXPECT_EQ(makeAboutContent(english, kLocalization).documentRows[0].url,
              std::string(Constants::websiteBase) + "/en/terms/");
}

TEST(AboutModelTest, InfoKeysFallBackWhenAbsentOrNotText) {
    struct Case {
        std::optional<json> info;
        std::string name;
        std::string version;
        std::string copyright;
    };
    const std::string fixedCopyright = "Copyright \u00a9 Orsk. All rights reserved.";
    const std::vector<Case> cases{
        {json{{"CFBundleDisplayName", "Display"},
              {"CFBundleName", "Name"},
              {"CFBundleShortVersionString", "1.2"},
              {"CFBundleVersion", "34"},
              {"NSHumanReadableCopyright", "\u00a9 Someone"}},
         "Display", "Version 1.2 (34)", "\u00a9 Someone"},
        {std::nullopt, "Moritane", "Version \u2014 (\u2014)", fixedCopyright},
        {json{{"CFBundleDisplayName", 7}, {"CFBundleName", "Name"}, {"CFBundleVersion", "34"}}, "Name",
         "Version \u2014 (34)", fixedCopyright},
        {json{{"CFBundleName", json::array()}, {"CFBundleShortVersionString", 1.2}, {"NSHumanReadableCopyright", 3}},
         "Moritane", "Version \u2014 (\u2014)", fixedCopyright},
    };
    for (const auto& test : cases) {
        AboutState state;
        state.infoDictionary = test.info;
        const auto content = makeAboutContent(state, kLocalization);
        EXPECT_EQ(content.applicationName, test.name);
        EXPECT_EQ(content.versionLine, test.version);
        EXPECT_EQ(content.copyrightLine, test.copyright);
    }
}

TEST(AboutModelTest, InvalidAddressesDropDocumentRowsButKeepDependenciesAsText) {
    AboutState state;
    state.preferredLocalizations = {"ja"};
    state.websiteBase = "not an address";
    state.websiteURL = [](std::string_view path, const std::vector<std::string>& /*languages*/) {
        return path == "privacy" ? std::string("https://www.orsk.com/pri vacy/")
                                 : "https://www.orsk.com/" + std::string(path);
    };
    state.dependencies = {{"Linked", "Ann", "MIT", "https://example.org/LICENSE"},
                          {"Unlinked", "Bob", "BSD-3-Clause", "example.org/LICENSE"}};
    const auto content = makeAboutContent(state, kLocalization);
    EXPECT_EQ(titles(content), (std::vector<std::string>{"about.link.terms", "about.link.support"}));
    EXPECT_EQ(content.dependencies,
              (std::vector<AboutContent::DependencyEntry>{{"Linked", "https://example.org/LICENSE", "Ann \u2014 MIT"},
                                                          {"Unlinked", std::nullopt, "Bob \u2014 BSD-3-Clause"}}));
}

TEST(AboutModelTest, AddressesNeedSchemeAndHostAndNoBlanks) {
    for (const auto* valid : {"https://www.orsk.com/lab/moritane/", "http://example.org", "git+ssh://me@host:22/x",
                              "https://example.org?query#part"}) {
        EXPECT_TRUE(isValidURL(valid)) << valid;
    }
    for (const auto* invalid :
         {"", "www.orsk.com/terms/", "https://", "https:///path", "://host", "1http://host", "https://host/a b",
          "https://host/\t", "https://me@/path", "https://:80/", "ht tp://host", "https://host/\x7f"}) {
        EXPECT_FALSE(isValidURL(invalid)) << invalid;
    }
}

TEST(AboutModelTest, TheShippedTableLinksEveryLicenceAndNamesEachComponentOnce) {
    std::set<std::string> names;
    for (const auto& dependency : shippedDependencies()) {
        EXPECT_TRUE(isValidURL(dependency.url)) << dependency.name;
        EXPECT_TRUE(dependency.url.starts_with("https://")) << dependency.name;
        EXPECT_FALSE(dependency.author.empty() || dependency.license.empty()) << dependency.name;
        EXPECT_TRUE(names.insert(dependency.name).second) << dependency.name;
    }
}

}  // namespace
}  // namespace moritane
