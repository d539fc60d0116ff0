#include "support/Bundle.h"

#include "support/Files.h"

#include <system_error>

namespace moritane {

namespace {

// An info file is a handful of keys; anything far larger is not one.
constexpr std::size_t kMaxInfoBytes = 1U << 20U;

}  // namespace

std::optional<Bundle> Bundle::open(const std::filesystem::path& url) {
    std::error_code error;
    if (!std::filesystem::is_directory(url, error)) {
        return std::nullopt;
    }
    return Bundle(url);
}

std::optional<nlohmann::json> Bundle::infoDictionary() const {
    const auto bytes = files::readFile(m_url / infoFileName, kMaxInfoBytes);
    return bytes ? parseInfoDictionary(bytes.value()) : std::nullopt;
}

std::optional<nlohmann::json> Bundle::parseInfoDictionary(std::string_view bytes) {
    auto info = nlohmann::json::parse(bytes, nullptr, false);
    if (!info.is_object() || info.empty()) {
        return std::nullopt;
    }
    return info;
}

}  // namespace moritane
