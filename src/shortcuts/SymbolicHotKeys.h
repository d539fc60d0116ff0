#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace moritane::GlobalShortcuts {

/// The system's own keyboard shortcuts, each a dictionary with "kHISymbolicHotKeyEnabled",
/// "kHISymbolicHotKeyCode" and "kHISymbolicHotKeyModifiers" (service form).
class SymbolicHotKeys {
public:
    using Value = std::variant<bool, std::int64_t, std::string>;
    using Entry = std::map<std::string, Value>;

    virtual ~SymbolicHotKeys() = default;
    /// The list as the system gives it now; none when it cannot.
    [[nodiscard]] virtual std::optional<std::vector<Entry>> copySymbolicHotKeys() const = 0;
};

}  // namespace moritane::GlobalShortcuts
