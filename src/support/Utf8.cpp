#include "support/Utf8.h"

#include <cstdint>

namespace moritane::utf8 {

namespace {

/// The length of the well-formed sequence at the start of `bytes`, or 0 when there is none.
std::size_t sequenceLength(std::string_view bytes) {
    const auto byte = [&](std::size_t index) { return static_cast<std::uint8_t>(bytes[index]); };
    const auto lead = byte(0);
    if (lead < 0x80U) {
        return 1;
    }
    std::size_t length = 0;
    // The second byte's range excludes overlong forms, surrogates and code points past U+10FFFF.
    std::uint8_t low = 0x80U;
    std::uint8_t high = 0xBFU;
    if (lead >= 0xC2U && lead <= 0xDFU) {
        length = 2;
    } else if (lead >= 0xE0U && lead <= 0xEFU) {
        length = 3;
        low = lead == 0xE0U ? 0xA0U : low;
        high = lead == 0xEDU ? 0x9FU : high;
    } else if (lead >= 0xF0U && lead <= 0xF4U) {
        length = 4;
        low = lead == 0xF0U ? 0x90U : low;
        high = lead == 0xF4U ? 0x8FU : high;
    } else {
        return 0;
    }
    if (bytes.size() < length || byte(1) < low || byte(1) > high) {
        return 0;
    }
    for (std::size_t index = 2; index < length; ++index) {
        if (byte(index) < 0x80U || byte(index) > 0xBFU) {
            return 0;
        }
    }
    return length;
}

}  // namespace

std::string replacingInvalid(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const auto length = sequenceLength(bytes);
        if (length == 0) {
            text += "\xEF\xBF\xBD";
            bytes.remove_prefix(1);
        } else {
            text.append(bytes.substr(0, length));
            bytes.remove_prefix(length);
        }
    }
    return text;
}

std::u32string codePoints(std::string_view bytes) {
    std::u32string points;
    while (!bytes.empty()) {
        const auto length = sequenceLength(bytes);
        if (length == 0) {
            points.push_back(U'\uFFFD');
            bytes.remove_prefix(1);
            continue;
        }
        const auto lead = static_cast<std::uint8_t>(bytes[0]);
        char32_t point = length == 1 ? lead : lead & (0xFFU >> (length + 1));
        for (std::size_t index = 1; index < length; ++index) {
            point = (point << 6U) | (static_cast<std::uint8_t>(bytes[index]) & 0x3FU);
        }
        points.push_back(point);
        bytes.remove_prefix(length);
    }
    return points;
}

std::string encode(char32_t point) {
    std::string text;
    if (point < 0x80) {
        text += static_cast<char>(point);
    } else if (point < 0x800) {
        text += static_cast<char>(0xC0U | (point >> 6U));
        text += static_cast<char>(0x80U | (point & 0x3FU));
    } else if (point < 0x10000) {
        text += static_cast<char>(0xE0U | (point >> 12U));
        text += static_cast<char>(0x80U | ((point >> 6U) & 0x3FU));
        text += static_cast<char>(0x80U | (point & 0x3FU));
    } else {
        text += static_cast<char>(0xF0U | (point >> 18U));
        text += static_cast<char>(0x80U | ((point >> 12U) & 0x3FU));
        text += static_cast<char>(0x80U | ((point >> 6U) & 0x3FU));
        text += static_cast<char>(0x80U | (point & 0x3FU));
    }
    return text;
}

}  // namespace moritane::utf8
