#include "shell/model/AboutModel.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace moritane {

namespace {

constexpr std::string_view kEmDash = "\u2014";
constexpr std::string_view kFallbackName = "Moritane";
constexpr std::string_view kFallbackCopyright = "Copyright \u00a9 Orsk. All rights reserved.";

std::optional<std::string> stringValue(const std::optional<nlohmann::json>& info, std::string_view key) {
    if (!info || !info->is_object()) {
        return std::nullopt;
    }
    const auto found = info->find(key);
    if (found == info->end() || !found->is_string()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

bool isSchemeCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '+' || character == '-' ||
           character == '.';
}

// The legal notice page exists for Japan only. With no localisation to go by, the program is
// taken to run in the site's own language, which is Japanese.
bool showsLegalNotice(const std::vector<std::string>& preferredLocalizations) {
    return preferredLocalizations.empty() || preferredLocalizations.front().starts_with("ja");
}

}  // namespace

const std::vector<AboutContent::Dependency>& shippedDependencies() {
    static const std::vector<AboutContent::Dependency> table{
        {"Qt", "The Qt Company", "LGPL-3.0-only", "https://doc.qt.io/qt-6/lgpl.html"},
        {"nlohmann/json", "Niels Lohmann", "MIT", "https://github.com/nlohmann/json/blob/develop/LICENSE.MIT"},
        {"{fmt}", "Victor Zverovich", "MIT", "https://github.com/fmtlib/fmt/blob/master/LICENSE"},
        {"libyuv", "The LibYuv Project Authors", "BSD-3-Clause",
         "https://chromium.googlesource.com/libyuv/libyuv/+/refs/heads/main/LICENSE"},
        {"libjpeg-turbo", "The libjpeg-turbo Project, Independent JPEG Group", "IJG AND BSD-3-Clause AND Zlib",
         "https://github.com/libjpeg-turbo/libjpeg-turbo/blob/main/LICENSE.md"},
        {"libv4l", "The v4l-utils authors", "LGPL-2.1-or-later",
         "https://git.linuxtv.org/v4l-utils.git/tree/COPYING.libv4l"},
        {"PipeWire", "The PipeWire project", "MIT",
         "https://gitlab.freedesktop.org/pipewire/pipewire/-/blob/master/COPYING"},
        {"libxcb", "Bart Massey, Jamey Sharp, Josh Triplett", "X11",
         "https://gitlab.freedesktop.org/xorg/lib/libxcb/-/blob/master/COPYING"},
        {"libxkbcommon", "The xkbcommon authors", "MIT",
         "https://github.com/xkbcommon/libxkbcommon/blob/master/LICENSE"},
        {"systemd (libsystemd, libudev)", "The systemd authors", "LGPL-2.1-or-later",
         "https://github.com/systemd/systemd/blob/main/LICENSE.LGPL2.1"},
        {"GLib", "The GNOME Project", "LGPL-2.1-or-later", "https://gitlab.gnome.org/GNOME/glib/-/blob/main/COPYING"},
    };
    return table;
}

bool isValidURL(std::string_view text) {
    if (std::any_of(text.begin(), text.end(), [](char character) {
            const auto byte = static_cast<unsigned char>(character);
            return byte <= 0x20 || byte == 0x7f;
        })) {
        return false;
    }
    const auto colon = text.find("://");
    if (colon == std::string_view::npos || colon == 0 || std::isalpha(static_cast<unsigned char>(text.front())) == 0 ||
        !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), isSchemeCharacter)) {
        return false;
    }
    auto authority = text.substr(colon + 3);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    const auto at = authority.rfind('@');
    const auto host = at == std::string_view::npos ? authority : authority.substr(at + 1);
    return !host.empty() && host.front() != ':';
}

AboutContent makeAboutContent(const AboutState& state, const Localization& localization) {
    const auto& info = state.infoDictionary;
    AboutContent content;
    content.applicationName = stringValue(info, "CFBundleDisplayName")
                                  .value_or(stringValue(info, "CFBundleName").value_or(std::string(kFallbackName)));
    content.versionLine =
        Localization::format(localization.string("about.version"),
                             {stringValue(info, "CFBundleShortVersionString").value_or(std::string(kEmDash)),
                              stringValue(info, "CFBundleVersion").value_or(std::string(kEmDash))});
    content.copyrightLine = stringValue(info, "NSHumanReadableCopyright").value_or(std::string(kFallbackCopyright));

    const auto& languages = state.preferredLocalizations;
    std::vector<AboutContent::DocumentRow> rows{
        {localization.string("about.link.terms"), state.websiteURL("terms", languages)},
        {localization.string("about.link.privacy"), state.websiteURL("privacy", languages)},
    };
    if (showsLegalNotice(languages)) {
        rows.push_back({localization.string("about.link.tokushoho"), state.websiteBase + "/tokushoho/"});
    }
    rows.push_back({localization.string("about.link.support"), state.websiteURL("support", languages)});
    content.documentsHeading = localization.string("about.section.documents");
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(content.documentRows),
                 [](const auto& row) { return isValidURL(row.url); });

    content.openSourceHeading = localization.string("about.section.openSource");
    for (const auto& dependency : state.dependencies) {
        content.dependencies.push_back({dependency.name,
                                        isValidURL(dependency.url) ? std::optional(dependency.url) : std::nullopt,
                                        dependency.author + " " + std::string(kEmDash) + " " + dependency.license});
    }
    content.linkHint = localization.string("about.link.hint");
    return content;
}

}  // namespace moritane
