#include "support/Localization.h"

#include "support/Files.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

std::map<std::string, Localization::Table, std::less<>> tables() {
    return {
        {"en", {{"greeting", {"Hello", "A greeting"}}, {"only.en", {"English only", ""}}}},
        {"ja", {{"greeting", {"こんにちは", ""}}}},
    };
}

TEST(LocalizationTest, ChoosesTheFirstServedLanguageByTagOrLanguage) {
    struct Row {
        std::vector<std::string> languages;
        std::string chosen;
    };
    const std::vector<Row> rows{
        {{"ja_JP.UTF-8"}, "ja"},
        {{"en_US.UTF-8"}, "en"},
        {{"de_DE", "ja"}, "ja"},  // German is not shipped; the next preference is
        {{"zh_TW.UTF-8"}, "en"},  // nothing served: the development language
        {{}, "en"},
    };
    for (const auto& row : rows) {
        const Localization localization(tables(), row.languages);
        EXPECT_EQ(localization.preferredLocalizations(), std::vector<std::string>{row.chosen});
    }
}

TEST(LocalizationTest, LanguagesComeFromLanguageListThenTheLocaleUnlessTheLocaleIsC) {
    EXPECT_EQ(Localization::languagesFromLocale("ja:en", "", "", "de_DE.UTF-8"),
              (std::vector<std::string>{"ja", "en", "de_DE.UTF-8"}));
    EXPECT_EQ(Localization::languagesFromLocale("", "fr_FR", "ja_JP", "de_DE"), std::vector<std::string>{"fr_FR"});
    EXPECT_EQ(Localization::languagesFromLocale("", "", "ja_JP", "de_DE"), std::vector<std::string>{"ja_JP"});
    EXPECT_TRUE(Localization::languagesFromLocale("ja", "C", "", "").empty());
    EXPECT_TRUE(Localization::languagesFromLocale("ja", "", "", "C.UTF-8").empty());
    EXPECT_TRUE(Localization::languagesFromLocale("", "", "", "").empty());
}

TEST(LocalizationTest, LooksUpInTheChosenTableThenTheDevelopmentTableThenGivesTheKey) {
    const Localization localization(tables(), {"ja"});
    EXPECT_EQ(localization.string("greeting"), "こんにちは");
    EXPECT_EQ(localization.string("only.en"), "English only");
    EXPECT_EQ(localization.string("no.such.key"), "no.such.key");
    EXPECT_EQ(localization.comment("greeting"), "A greeting");
}

TEST(LocalizationTest, FormatFillsTextAndIntegerPlaceholdersInOrderOrByPosition) {
    using A = Localization::Argument;
    EXPECT_EQ(Localization::format("%@ has %d of %lld (100%%)", {A{"Ann"}, A{3}, A{9000000000}}),
              "Ann has 3 of 9000000000 (100%)");
    EXPECT_EQ(Localization::format("%2$@の%1$@", {A{"画像"}, A{"Moritane"}}), "Moritaneの画像");
    EXPECT_EQ(Localization::format("%@ and %@", {A{"one"}}), "one and ");
    EXPECT_EQ(Localization::format("50% off %x", {}), "50% off %x");
    EXPECT_EQ(Localization::format("%", {}), "%");
}

TEST(LocalizationTest, TablesMustMapKeysToEntriesWithText) {
    EXPECT_TRUE(Localization::parseTable(R"({"a": {"text": "A", "comment": "c"}, "b": {"text": "B"}})"));
    for (const auto* bad : {R"([])", R"({"a": "A"})", R"({"a": {"comment": "c"}})", R"({"a": {"text": 1}})",
                            R"({"a": {"text": "A", "comment": 2}})", "{"}) {
        EXPECT_FALSE(Localization::parseTable(bad)) << bad;
    }
}

Localization::Table shippedTable(const std::string& name) {
    const auto bytes = files::readFile(std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n" / name, 1U << 20U);
    return Localization::parseTable(bytes.value()).value();
}

TEST(LocalizationTest, ShippedTablesLoadAndTranslateEveryKey) {
    const auto directory = std::filesystem::path(MORITANE_SOURCE_DIR) / "resources/l10n";
    ASSERT_TRUE(Localization::load(directory, {"ja"}));
    const auto english = shippedTable("en.json");
    const auto japanese = shippedTable("ja.json");
    ASSERT_EQ(english.size(), japanese.size());
    for (const auto& [key, entry] : english) {
        const auto translated = japanese.find(key);
        ASSERT_NE(translated, japanese.end()) << key;
        if (Localization::format(entry.text, {}).empty()) {
            continue;  // nothing but placeholders, the same in every language
        }
        EXPECT_NE(translated->second.text, entry.text) << key << " is not translated";
    }
}

}  // namespace
}  // namespace moritane
