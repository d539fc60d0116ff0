#include "support/Utf8.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

bool jsonTakes(const std::string& text) {
    try {
        return nlohmann::json::parse(nlohmann::json(text).dump()).get<std::string>() == text;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

}  // namespace

// File names and camera card names arrive as raw bytes: what comes out must be text the JSON
// library takes, and bytes that are text already must come out unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto text = moritane::utf8::replacingInvalid(bytes);
    if (!jsonTakes(text) || moritane::utf8::replacingInvalid(text) != text) {
        std::abort();
    }
    if (jsonTakes(bytes) != (text == bytes)) {
        std::abort();
    }
    std::string reencoded;
    for (const auto point : moritane::utf8::codePoints(bytes)) {
        reencoded += moritane::utf8::encode(point);
    }
    if (reencoded != text) {
        std::abort();
    }
    return 0;
}
