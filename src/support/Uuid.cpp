#include "support/Uuid.h"

#include <random>

namespace moritane {

namespace {

constexpr std::size_t kTextLength = 36;

constexpr bool isHyphenPosition(std::size_t index) {
    return index == 8 || index == 13 || index == 18 || index == 23;
}

std::optional<std::uint8_t> hexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint8_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<std::uint8_t>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<std::uint8_t>(digit - 'A' + 10);
    }
    return std::nullopt;
}

}  // namespace

Uuid Uuid::random() {
    // One generator per thread, seeded from the system's entropy: uniqueness, not secrecy, is
    // what the identifiers need, and a device read per identifier would slow bulk imports.
    thread_local std::mt19937_64 generator = [] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }();
    Bytes bytes{};
    for (std::size_t offset = 0; offset < bytes.size(); offset += 8) {
        auto word = generator();
        for (std::size_t i = 0; i < 8; ++i) {
            bytes[offset + i] = static_cast<std::uint8_t>(word & 0xFFU);
            word >>= 8U;
        }
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);  // RFC 4122 variant
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::fromString(std::string_view text) {
    if (text.size() != kTextLength) {
        return std::nullopt;
    }
    Bytes bytes{};
    std::size_t nibble = 0;
    for (std::size_t index = 0; index < kTextLength; ++index) {
        if (isHyphenPosition(index)) {
            if (text[index] != '-') {
                return std::nullopt;
            }
            continue;
        }
        const auto value = hexValue(text[index]);
        if (!value) {
            return std::nullopt;
        }
        auto& byte = bytes[nibble / 2];
        byte = static_cast<std::uint8_t>(nibble % 2 == 0 ? *value << 4U : byte | *value);
        ++nibble;
    }
    return Uuid(bytes);
}

std::string Uuid::uuidString() const {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(kTextLength);
    for (std::size_t i = 0; i < m_bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(digits[m_bytes[i] >> 4U]);
        text.push_back(digits[m_bytes[i] & 0x0FU]);
    }
    return text;
}

}  // namespace moritane
