#include "platform/linux/JsonFileDefaults.h"

#include "support/Files.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <sys/stat.h>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <limits>

namespace moritane {

namespace {

// Far beyond what a user keeps; a larger file is set aside, which bounds the memory of a load.
constexpr std::size_t kMaxDefaultsBytes = 4UL * 1024UL * 1024UL;
// Deeper nesting than any value of ours needs; it would cost time and memory out of proportion
// to the file's size when the entries are written back.
constexpr int kMaxNesting = 512;

/// Whether brackets outside strings nest deeper than `limit`, read before parsing so that a
/// pathological file never becomes a tree.
bool nestsDeeperThan(std::string_view bytes, int limit) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char byte : bytes) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (byte == '\\') {
                escaped = true;
            } else if (byte == '"') {
                inString = false;
            }
        } else if (byte == '"') {
            inString = true;
        } else if (byte == '[' || byte == '{') {
            if (++depth > limit) {
                return true;
            }
        } else if (byte == ']' || byte == '}') {
            --depth;
        }
    }
    return false;
}

DefaultsValue toValue(const nlohmann::json& entry) {
    if (entry.is_string()) {
        return entry.get<std::string>();
    }
    if (entry.is_boolean()) {
        return entry.get<bool>();
    }
    if (entry.is_number_integer() && !entry.is_number_unsigned()) {
        return entry.get<std::int64_t>();
    }
    if (entry.is_number_unsigned() && entry.get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max()) {
        return static_cast<std::int64_t>(entry.get<std::uint64_t>());
    }
    return OtherDefaultsValue{entry};
}

nlohmann::json toJson(const DefaultsValue& value) {
    return std::visit(
        [](const auto& held) -> nlohmann::json {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>) {
                return nullptr;
            } else if constexpr (std::is_same_v<Held, OtherDefaultsValue>) {
                return held.value;
            } else {
                return held;
            }
        },
        value);
}

/// One entry a line, each value compact: readable by hand, and as long as the entries' own text
/// however deep a value nests.
std::string encodeEntries(const nlohmann::json& entries) {
    if (entries.empty()) {
        return "{}\n";
    }
    std::string bytes = "{\n";
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        bytes += "  " + nlohmann::json(entry.key()).dump() + ": " + entry.value().dump();
        bytes += std::next(entry) == entries.end() ? "\n" : ",\n";
    }
    return bytes + "}\n";
}

}  // namespace

JsonFileDefaults::JsonFileDefaults(std::filesystem::path path, Log& log) : m_path(std::move(path)), m_log(log) {
    load();
}

std::optional<nlohmann::json> JsonFileDefaults::decode(std::string_view bytes) {
    if (nestsDeeperThan(bytes, kMaxNesting)) {
        return std::nullopt;
    }
    auto json = nlohmann::json::parse(bytes, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    return json;
}

void JsonFileDefaults::load() {
    const auto stale =
        files::removeStaleTemporaryFiles(m_path, std::chrono::system_clock::now() - files::staleTemporaryFileAge);
    if (!stale.empty()) {
        m_log.write(fmt::format("Defaults: removed {} temporary file(s) left by an interrupted write", stale.size()));
    }
    auto bytes = files::readFile(m_path, kMaxDefaultsBytes);
    if (!bytes && (bytes.error().code == ENOENT || bytes.error().code == ENOTDIR)) {
        return;  // nothing there yet
    }
    if (bytes) {
        if (auto entries = decode(bytes.value())) {
            m_entries = std::move(*entries);
            return;
        }
    }
    // Whatever is there is the user's: it moves aside so that the next write cannot replace it.
    const auto reason =
        bytes ? fmt::format("it is not a JSON object nested at most {} deep", kMaxNesting) : bytes.error().description;
    if (auto aside = files::setAside(m_path, std::chrono::system_clock::now())) {
        m_log.write(fmt::format("Defaults: could not load {} ({}); kept it as {} and started afresh", m_path, reason,
                                aside.value()));
    } else {
        m_log.write(fmt::format("Defaults: could not load {} ({}) nor set it aside: {}", m_path, reason,
                                aside.error().description));
    }
}

DefaultsValue JsonFileDefaults::object(std::string_view key) const {
    const std::scoped_lock lock(m_mutex);
    const auto entry = m_entries.find(key);
    return entry == m_entries.end() ? DefaultsValue{} : toValue(*entry);
}

void JsonFileDefaults::setObject(std::string_view key, DefaultsValue value) {
    const std::scoped_lock lock(m_mutex);
    if (std::holds_alternative<std::monostate>(value)) {
        m_entries.erase(std::string(key));
    } else {
        m_entries[std::string(key)] = toJson(value);
    }
    save();
}

void JsonFileDefaults::save() {
    std::string bytes;
    try {
        bytes = encodeEntries(m_entries);
    } catch (const nlohmann::json::type_error& error) {
        m_log.write(fmt::format("Defaults: could not encode {}: {}", m_path, error.what()));
        return;
    }
    // Only this user's programs have business in the directory that holds the defaults.
    const auto directory = m_path.parent_path();
    files::createDirectories(directory.parent_path());
    ::mkdir(directory.c_str(), 0700);
    if (const auto error = files::writeFileAtomically(m_path, bytes)) {
        m_log.write(fmt::format("Defaults: could not write {}: {}", m_path, error->description));
    }
}

}  // namespace moritane
