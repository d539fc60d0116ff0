#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string_view>

namespace moritane {

/// A directory that the application ships as one piece, described by the "Info.json" at its top:
/// a JSON object of info keys such as "CFBundleShortVersionString". Read from disk at each use.
class Bundle {
public:
    /// The bundle at `url`; none when nothing is there or it is not a directory.
    static std::optional<Bundle> open(const std::filesystem::path& url);

    /// The info keys; none when the file is missing, unreadable, not a JSON object, or empty.
    [[nodiscard]] std::optional<nlohmann::json> infoDictionary() const;

    /// Decodes the bytes of an info file as `infoDictionary` does.
    static std::optional<nlohmann::json> parseInfoDictionary(std::string_view bytes);

    [[nodiscard]] const std::filesystem::path& bundleURL() const { return m_url; }

    static constexpr std::string_view infoFileName = "Info.json";

private:
    explicit Bundle(std::filesystem::path url) : m_url(std::move(url)) {}

    std::filesystem::path m_url;
};

}  // namespace moritane
