#include "platform/linux/JsonFileDefaults.h"

#include "support/Files.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <cerrno>

namespace moritane {

namespace {

constexpr std::size_t kMaxDefaultsBytes = 16UL * 1024UL * 1024UL;

DefaultsValue toValue(const nlohmann::json& entry) {
    if (entry.is_string()) {
        return entry.get<std::string>();
    }
    if (entry.is_boolean()) {
        return entry.get<bool>();
    }
    if (entry.is_number_integer()) {
        return entry.get<std::int64_t>();
    }
    return std::monostate{};
}

nlohmann::json toJson(const DefaultsValue& value) {
    return std::visit(
        [](const auto& held) -> nlohmann::json {
            if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>) {
                return nullptr;
            } else {
                return held;
            }
        },
        value);
}

}  // namespace

JsonFileDefaults::JsonFileDefaults(std::filesystem::path path, Log& log) : m_path(std::move(path)), m_log(log) {
    load();
}

std::optional<nlohmann::json> JsonFileDefaults::decode(std::string_view bytes) {
    auto json = nlohmann::json::parse(bytes, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    return json;
}

void JsonFileDefaults::load() {
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
    const auto reason = bytes ? std::string("it is not a JSON object") : bytes.error().description;
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
        bytes = m_entries.dump(2);
    } catch (const nlohmann::json::type_error& error) {
        m_log.write(fmt::format("Defaults: could not encode {}: {}", m_path, error.what()));
        return;
    }
    files::createDirectories(m_path.parent_path());
    if (const auto error = files::writeFileAtomically(m_path, bytes)) {
        m_log.write(fmt::format("Defaults: could not write {}: {}", m_path, error->description));
    }
}

}  // namespace moritane
