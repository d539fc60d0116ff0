#pragma once

#include "sources/Workspace.h"
#include "support/Localization.h"

#include <nlohmann/json.hpp>

#include <QWidget>

#include <filesystem>
#include <optional>

namespace moritane {

/// The about pane of the settings window: what the application is and which version, links to
/// its documents on the website, and the open-source components it ships with. Changes nothing.
class AboutSettingsView final : public QWidget {
public:
    struct Sources {
        const Localization& localization;
        Workspace& workspace;                          // opens the links
        std::optional<nlohmann::json> infoDictionary;  // the application's Info.json
        std::filesystem::path iconDirectory;           // "<symbol>.svg" files; the application icon is "moritane.svg"
    };

    explicit AboutSettingsView(Sources sources, QWidget* parent = nullptr);

private:
    QWidget* makeLink(const std::string& title, const std::string& url, const QString& hint, bool withSymbol);

    Workspace& m_workspace;
    std::filesystem::path m_iconDirectory;
};

}  // namespace moritane
