#include "camera/Constants.h"

#include <array>
#include <utility>

namespace moritane::Constants {

std::string_view rawValue(CameraMode mode) {
    switch (mode) {
    case CameraMode::off:
        return "off";
    case CameraMode::camera:
        return "camera";
    case CameraMode::image:
        return "image";
    }
    return "off";
}

std::optional<CameraMode> cameraModeFromRawValue(std::string_view text) {
    for (const auto mode : {CameraMode::off, CameraMode::camera, CameraMode::image}) {
        if (rawValue(mode) == text) {
            return mode;
        }
    }
    return std::nullopt;
}

std::string_view languagePathPrefix(std::string_view language) {
    if (language == "ja") {
        return "";
    }
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> prefixes{{
        {"zh", "/zh"},
        {"en", "/en"},
        {"ko", "/ko"},
        {"es", "/es"},
        {"fr", "/fr"},
        {"de", "/de"},
    }};
    for (const auto& [start, prefix] : prefixes) {
        if (language.starts_with(start)) {
            return prefix;
        }
    }
    return "/en";
}

std::string websiteURL(std::string_view path, const std::vector<std::string>& preferredLocalizations) {
    const std::string language = preferredLocalizations.empty() ? "ja" : preferredLocalizations.front();
    std::string url(websiteBase);
    url += languagePathPrefix(language);
    if (!path.empty()) {
        url += '/';
        url += path;
    }
    url += '/';
    return url;
}

}  // namespace moritane::Constants
