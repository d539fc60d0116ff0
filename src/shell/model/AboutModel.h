#pragma once

#include "camera/Constants.h"
#include "support/Localization.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

/// What the about pane shows, top to bottom.
struct AboutContent {
    /// One open-source component that the program ships with or links.
    struct Dependency {
        std::string name;
        std::string author;
        std::string license;
        /// Where its licence text is.
        std::string url;

        friend bool operator==(const Dependency&, const Dependency&) = default;
    };

    struct DocumentRow {
        std::string title;
        std::string url;

        friend bool operator==(const DocumentRow&, const DocumentRow&) = default;
    };

    struct DependencyEntry {
        std::string name;
        /// None: the name is plain text.
        std::optional<std::string> link;
        /// "author — license".
        std::string footnote;

        friend bool operator==(const DependencyEntry&, const DependencyEntry&) = default;
    };

    std::string applicationName;
    std::string versionLine;
    std::string copyrightLine;
    std::string documentsHeading;
    std::vector<DocumentRow> documentRows;
    std::string openSourceHeading;
    std::vector<DependencyEntry> dependencies;
    /// For every link.
    std::string linkHint;
};

/// The components of this program, in the order the pane lists them.
const std::vector<AboutContent::Dependency>& shippedDependencies();

/// What the about pane is drawn from.
struct AboutState {
    /// The application's Info.json; none when it cannot be read.
    std::optional<nlohmann::json> infoDictionary;
    std::vector<std::string> preferredLocalizations;
    std::vector<AboutContent::Dependency> dependencies = shippedDependencies();
    std::string websiteBase{Constants::websiteBase};
    std::function<std::string(std::string_view path, const std::vector<std::string>& preferredLocalizations)>
        websiteURL = Constants::websiteURL;
};

AboutContent makeAboutContent(const AboutState& state, const Localization& localization);

/// An absolute address with a scheme and a host, free of blanks and control characters.
bool isValidURL(std::string_view text);

}  // namespace moritane
