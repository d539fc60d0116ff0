#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace moritane {

/// A 128-bit identifier. Its text is the canonical 36 characters, upper-case hexadecimal digits in
/// groups of 8, 4, 4, 4 and 12 joined by hyphens.
class Uuid {
public:
    using Bytes = std::array<std::uint8_t, 16>;

    constexpr explicit Uuid(const Bytes& bytes) : m_bytes(bytes) {}

    /// A fresh random (version 4) identifier. Any thread.
    static Uuid random();

    /// Reads the canonical form in either case of hexadecimal digit; anything else gives none.
    static std::optional<Uuid> fromString(std::string_view text);

    [[nodiscard]] std::string uuidString() const;
    [[nodiscard]] const Bytes& bytes() const { return m_bytes; }

    friend auto operator<=>(const Uuid&,
                            const Uuid&) = default;  // NOLINT(modernize-use-nullptr): clang-tidy 14 misreads it

private:
    Bytes m_bytes;
};

}  // namespace moritane

template <>
struct std::hash<moritane::Uuid> {
    std::size_t operator()(const moritane::Uuid& uuid) const noexcept {
        std::size_t result = 0;
        for (const auto byte : uuid.bytes()) {
            result = result * 131 + byte;
        }
        return result;
    }
};
