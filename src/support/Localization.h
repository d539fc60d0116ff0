#pragma once

#include "support/Error.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace moritane {

/// The texts the user reads, by key, in the language that the system prefers among those the
/// application ships. Keys flow through the program; texts are looked up at the edge.
class Localization {
public:
    struct Entry {
        std::string text;
        std::string comment;  // travels with the key for translators
    };
    using Table = std::map<std::string, Entry, std::less<>>;
    using Argument = std::variant<std::string, std::int64_t>;

    /// `tables` by localisation name ("en", "ja"); `development` serves keys the chosen table lacks
    /// and is chosen when none of `preferredLanguages` is served.
    Localization(std::map<std::string, Table, std::less<>> tables, const std::vector<std::string>& preferredLanguages,
                 std::string development = "en");

    /// Reads every "<name>.json" table in `directory`; fails on the first table it cannot read.
    static Result<Localization> load(const std::filesystem::path& directory,
                                     const std::vector<std::string>& preferredLanguages);

    /// Decodes one table: a JSON object from key to {"text": ..., "comment": ...}, the comment
    /// optional.
    static Result<Table> parseTable(std::string_view bytes);

    /// The user's languages from the locale variables, most preferred first, as gettext reads
    /// them: LANGUAGE's list unless the locale is C or POSIX, then LC_ALL, LC_MESSAGES or LANG.
    static std::vector<std::string> languagesFromLocale(std::string_view language, std::string_view lcAll,
                                                        std::string_view lcMessages, std::string_view lang);

    /// The localisations in use, best first; never empty.
    [[nodiscard]] const std::vector<std::string>& preferredLocalizations() const { return m_preferred; }

    /// The text of `key`; the key itself when no table has it.
    [[nodiscard]] std::string string(std::string_view key) const;

    /// The comment stored with `key` in the development table; empty when there is none.
    [[nodiscard]] std::string comment(std::string_view key) const;

    /// Fills a format's placeholders: %@ takes text, %d and %lld integers, each also in the
    /// positional form %1$@; %% is a percent sign. A missing argument leaves the place empty.
    static std::string format(std::string_view format, const std::vector<Argument>& arguments);

private:
    std::map<std::string, Table, std::less<>> m_tables;
    std::string m_development;
    std::vector<std::string> m_preferred;
};

}  // namespace moritane
