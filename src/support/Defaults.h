#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace moritane {

/// An entry of a kind the program never writes (a fraction, a list, a dictionary, a null, ...),
/// held as it was stored so that it can be given back unchanged.
struct OtherDefaultsValue {
    nlohmann::json value;

    bool operator==(const OtherDefaultsValue& other) const { return value == other.value; }
};

/// An entry of the user defaults: absent, text, boolean, integer, or anything else stored.
using DefaultsValue = std::variant<std::monostate, std::string, bool, std::int64_t, OtherDefaultsValue>;

/// The user's defaults: a few small values kept across restarts. Safe from any thread.
class Defaults {
public:
    virtual ~Defaults() = default;

    /// The entry at `key`; std::monostate when there is none.
    [[nodiscard]] virtual DefaultsValue object(std::string_view key) const = 0;

    /// Stores `value` at `key`, replacing what was there; std::monostate removes the entry. The
    /// store keeps it across restarts; a failure to keep it is the store's to report.
    virtual void setObject(std::string_view key, DefaultsValue value) = 0;

    void removeObject(std::string_view key) { setObject(key, std::monostate{}); }

    /// Text entries as they are; numbers (integers, fractions) as their decimal text; none
    /// otherwise.
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const;

    /// Booleans as they are; numbers when not zero; text that starts, after blanks, signs and
    /// zeros, with Y, y, T, t or a digit from 1 to 9; false for a missing entry.
    [[nodiscard]] bool boolean(std::string_view key) const;
};

}  // namespace moritane
