#pragma once

#include "support/Localization.h"

#include <QActionGroup>
#include <QStackedWidget>
#include <QToolBar>
#include <QWidget>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace moritane {

/// One pane of the settings: its toolbar label and symbol, and how to make its content. The
/// content is made the first time the pane is shown, so that making the window makes no manager.
struct SettingsTab {
    std::string labelKey;
    std::string symbol;
    std::function<std::unique_ptr<QWidget>()> makeContent;
};

/// The content of the settings window: a preference-style toolbar of panes over the pane shown.
class SettingsTabViewController final : public QWidget {
public:
    SettingsTabViewController(std::vector<SettingsTab> tabs, const Localization& localization,
                              const std::filesystem::path& iconDirectory, QWidget* parent = nullptr);

    [[nodiscard]] int selectedTab() const { return m_panes->currentIndex(); }
    void selectTab(int index);
    [[nodiscard]] QToolBar* toolbar() const { return m_toolbar; }
    void setPaneMinimumSize(QSize size);

private:
    std::vector<SettingsTab> m_tabs;
    QToolBar* m_toolbar;
    QActionGroup* m_tabActions;
    QStackedWidget* m_panes;
};

/// The settings window, made once at first need and kept: closing it only hides it, so the pane,
/// size and place stay as the user left them.
class SettingsWindow final : public QWidget {
public:
    static constexpr QSize contentSize{600, 540};
    static constexpr QSize minimumContentSize{600, 460};

    SettingsWindow(std::vector<SettingsTab> tabs, const Localization& localization,
                   const std::filesystem::path& iconDirectory);

    /// Brings the window to the front and gives it the keyboard.
    void bringForward();

    [[nodiscard]] SettingsTabViewController& controller() const { return *m_controller; }

private:
    SettingsTabViewController* m_controller;
};

}  // namespace moritane
