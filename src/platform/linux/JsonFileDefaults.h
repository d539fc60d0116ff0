#pragma once

#include "support/Defaults.h"
#include "support/Error.h"
#include "support/Log.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>

namespace moritane {

/// The user defaults as one JSON object in a file, rewritten atomically at every change. Entries
/// of types the program does not use are kept as they are. A file that cannot be decoded is set
/// aside, never overwritten.
class JsonFileDefaults final : public Defaults {
public:
    /// Loads `path`; writes go there too, making its directory when needed.
    JsonFileDefaults(std::filesystem::path path, Log& log);

    [[nodiscard]] DefaultsValue object(std::string_view key) const override;
    void setObject(std::string_view key, DefaultsValue value) override;

    /// Decodes a defaults file: a JSON object. None for anything else.
    static std::optional<nlohmann::json> decode(std::string_view bytes);

private:
    void load();
    void save();

    std::filesystem::path m_path;
    Log& m_log;
    mutable std::mutex m_mutex;
    nlohmann::json m_entries = nlohmann::json::object();
};

}  // namespace moritane
