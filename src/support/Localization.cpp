#include "support/Localization.h"

#include "support/Files.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <optional>

namespace moritane {

namespace {

constexpr std::size_t kMaxTableBytes = 4UL * 1024UL * 1024UL;

/// "ja_JP.UTF-8@euro" becomes "ja-JP".
std::string normalizedTag(std::string_view locale) {
    locale = locale.substr(0, locale.find_first_of(".@"));
    std::string tag(locale);
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag;
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
}

std::optional<std::string> servingTable(const std::map<std::string, Localization::Table, std::less<>>& tables,
                                        std::string_view language) {
    for (const auto& [name, table] : tables) {
        if (equalIgnoringCase(name, language)) {
            return name;
        }
    }
    const auto base = language.substr(0, language.find('-'));
    for (const auto& [name, table] : tables) {
        if (equalIgnoringCase(name, base)) {
            return name;
        }
    }
    return std::nullopt;
}

std::string renderArgument(const Localization::Argument& argument) {
    if (const auto* text = std::get_if<std::string>(&argument)) {
        return *text;
    }
    return std::to_string(std::get<std::int64_t>(argument));
}

/// Length of the conversion after '%' and an optional position: "@", "d" or "lld"; 0 for none.
std::size_t conversionLength(std::string_view rest) {
    if (rest.starts_with('@') || rest.starts_with('d')) {
        return 1;
    }
    if (rest.starts_with("lld")) {
        return 3;
    }
    return 0;
}

}  // namespace

Localization::Localization(std::map<std::string, Table, std::less<>> tables,
                           const std::vector<std::string>& preferredLanguages, std::string development)
    : m_tables(std::move(tables)), m_development(std::move(development)) {
    for (const auto& language : preferredLanguages) {
        if (auto name = servingTable(m_tables, normalizedTag(language))) {
            m_preferred.push_back(std::move(*name));
            return;
        }
    }
    m_preferred.push_back(m_development);
}

Result<Localization> Localization::load(const std::filesystem::path& directory,
                                        const std::vector<std::string>& preferredLanguages) {
    std::map<std::string, Table, std::less<>> tables;
    std::error_code error;
    for (const auto& item : std::filesystem::directory_iterator(directory, error)) {
        if (item.path().extension() != ".json") {
            continue;
        }
        auto bytes = files::readFile(item.path(), kMaxTableBytes);
        if (!bytes) {
            return bytes.error();
        }
        auto table = parseTable(bytes.value());
        if (!table) {
            return Error{"Localization", 1, item.path().string() + ": " + table.error().description};
        }
        tables.emplace(item.path().stem().string(), std::move(table).value());
    }
    if (error) {
        return files::posixError(error.value(), "could not list", directory);
    }
    return Localization(std::move(tables), preferredLanguages);
}

Result<Localization::Table> Localization::parseTable(std::string_view bytes) {
    const auto json = nlohmann::json::parse(bytes, nullptr, false);
    if (!json.is_object()) {
        return Error{"Localization", 1, "a table must be a JSON object"};
    }
    Table table;
    for (const auto& [key, value] : json.items()) {
        const auto text = value.is_object() ? value.find("text") : value.end();
        if (!value.is_object() || text == value.end() || !text->is_string()) {
            return Error{"Localization", 2, "entry \"" + key + "\" has no text"};
        }
        const auto comment = value.find("comment");
        const bool hasComment = comment != value.end();
        if (hasComment && !comment->is_string()) {
            return Error{"Localization", 3, "entry \"" + key + "\" has a comment that is not text"};
        }
        table.emplace(key, Entry{text->get<std::string>(), hasComment ? comment->get<std::string>() : ""});
    }
    return table;
}

std::vector<std::string> Localization::languagesFromLocale(std::string_view language, std::string_view lcAll,
                                                           std::string_view lcMessages, std::string_view lang) {
    const std::string_view locale = !lcAll.empty() ? lcAll : !lcMessages.empty() ? lcMessages : lang;
    if (locale.empty() || locale == "C" || locale == "POSIX" || locale.starts_with("C.")) {
        return {};
    }
    std::vector<std::string> languages;
    while (!language.empty()) {
        const auto colon = language.find(':');
        if (const auto item = language.substr(0, colon); !item.empty()) {
            languages.emplace_back(item);
        }
        language = colon == std::string_view::npos ? std::string_view{} : language.substr(colon + 1);
    }
    languages.emplace_back(locale);
    return languages;
}

std::string Localization::string(std::string_view key) const {
    for (const auto& name : {m_preferred.front(), m_development}) {
        const auto table = m_tables.find(name);
        if (table == m_tables.end()) {
            continue;
        }
        if (const auto entry = table->second.find(key); entry != table->second.end()) {
            return entry->second.text;
        }
    }
    return std::string(key);
}

std::string Localization::comment(std::string_view key) const {
    const auto table = m_tables.find(m_development);
    if (table == m_tables.end()) {
        return {};
    }
    const auto entry = table->second.find(key);
    return entry == table->second.end() ? std::string{} : entry->second.comment;
}

std::string Localization::format(std::string_view format, const std::vector<Argument>& arguments) {
    std::string result;
    std::size_t nextArgument = 0;
    std::size_t index = 0;
    while (index < format.size()) {
        const auto percent = format.find('%', index);
        result.append(format.substr(index, percent - index));
        if (percent == std::string_view::npos) {
            break;
        }
        auto rest = format.substr(percent + 1);
        if (rest.starts_with('%')) {
            result.push_back('%');
            index = percent + 2;
            continue;
        }
        std::size_t position = nextArgument;
        std::size_t consumed = 0;
        const auto dollar = rest.find('$');
        if (dollar != std::string_view::npos && dollar > 0 && dollar < 4 &&
            std::all_of(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(dollar),
                        [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; })) {
            position = std::stoul(std::string(rest.substr(0, dollar))) - 1;
            consumed = dollar + 1;
        }
        const auto length = conversionLength(rest.substr(consumed));
        if (length == 0) {
            result.push_back('%');  // not a conversion we know: keep it as written
            index = percent + 1;
            continue;
        }
        if (position < arguments.size()) {
            result.append(renderArgument(arguments[position]));
        }
        nextArgument = position + 1;
        index = percent + 1 + consumed + length;
    }
    return result;
}

}  // namespace moritane
