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

}  // namespace moritane::utf8
