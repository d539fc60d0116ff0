#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The fixed names of the shared directory, the output modes and the web-site address builder.
namespace moritane::Constants {

/// The application group; its container is the shared directory.
inline constexpr std::string_view appGroupIdentifier = "K7P3W9XQ2T.org.quelbrand.moritane";
inline constexpr std::string_view stateFileName = "state.json";
inline constexpr std::string_view heartbeatFileName = "heartbeat";
inline constexpr std::string_view imagesFolderName = "Images";
inline constexpr std::string_view imagesIndexFileName = "images.json";

/// The product's web site; the host is set when the program is built.
inline constexpr std::string_view websiteBase = "https://" MORITANE_WEBSITE_HOST "/lab/moritane";

/// What the virtual camera outputs. The raw value is also the JSON form and the form in logs.
enum class CameraMode { off, camera, image };

std::string_view rawValue(CameraMode mode);

/// The mode whose raw value is exactly `text`, compared case-sensitively; none otherwise.
std::optional<CameraMode> cameraModeFromRawValue(std::string_view text);

/// The path segment of the site for a language: empty for exactly "ja", the site's own language.
std::string_view languagePathPrefix(std::string_view language);

/// The site's address for `path` (which may be empty) in the first of `preferredLocalizations`,
/// or in Japanese when there is none. Always ends in a slash.
std::string websiteURL(std::string_view path, const std::vector<std::string>& preferredLocalizations);

}  // namespace moritane::Constants
