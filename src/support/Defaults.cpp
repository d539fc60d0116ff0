#include "support/Defaults.h"

#include <cctype>
#include <type_traits>

namespace moritane {

namespace {

bool textMeansTrue(std::string_view text) {
    std::size_t index = 0;
    while (index < text.size() && std::isspace(static_cast<unsigned char>(text[index])) != 0) {
        ++index;
    }
    if (index < text.size() && (text[index] == '+' || text[index] == '-')) {
        ++index;
    }
    while (index < text.size() && text[index] == '0') {
        ++index;
    }
    if (index == text.size()) {
        return false;
    }
    const char first = text[index];
    return first == 'Y' || first == 'y' || first == 'T' || first == 't' || (first >= '1' && first <= '9');
}

}  // namespace

std::optional<std::string> Defaults::string(std::string_view key) const {
    return std::visit(
        [](const auto& value) -> std::optional<std::string> {
            using Value = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Value, std::string>) {
                return value;
            } else if constexpr (std::is_same_v<Value, bool>) {
                return value ? "1" : "0";
            } else if constexpr (std::is_same_v<Value, std::int64_t>) {
                return std::to_string(value);
            } else if constexpr (std::is_same_v<Value, OtherDefaultsValue>) {
                return value.value.is_number() ? std::optional(value.value.dump()) : std::nullopt;
            } else {
                return std::nullopt;
            }
        },
        object(key));
}

bool Defaults::boolean(std::string_view key) const {
    return std::visit(
        [](const auto& value) -> bool {
            using Value = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Value, std::string>) {
                return textMeansTrue(value);
            } else if constexpr (std::is_same_v<Value, bool>) {
                return value;
            } else if constexpr (std::is_same_v<Value, std::int64_t>) {
                return value != 0;
            } else if constexpr (std::is_same_v<Value, OtherDefaultsValue>) {
                return value.value.is_number() && value.value.template get<double>() != 0.0;
            } else {
                return false;
            }
        },
        object(key));
}

}  // namespace moritane
