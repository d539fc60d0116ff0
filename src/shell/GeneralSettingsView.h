#pragma once

#include "extension/SystemExtensionInstaller.h"
#include "shell/Widgets.h"
#include "shell/model/GeneralPaneModel.h"
#include "shell/model/LoginItemManager.h"
#include "shortcuts/Shortcut.h"
#include "sources/CameraPermission.h"
#include "sources/Workspace.h"
#include "support/Localization.h"
#include "support/Subscription.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace moritane {

/// The settings that are not the image library: language, launch at login, the camera
/// extension's state and repair, the camera permission while it is refused, the way back to
/// onboarding and the shortcuts. Each section shows and drives another part's manager.
class GeneralSettingsView final : public QWidget {
public:
    struct Sources {
        LoginItemManager& loginItemManager;
        SystemExtensionInstaller& extensionInstaller;
        CameraPermission& cameraPermission;
        Workspace& workspace;
        const Localization& localization;
        std::function<void()> showOnboardingWindow;
        /// The recorder of the shortcut `name`, with its title key as label.
        std::function<std::unique_ptr<QWidget>(const GlobalShortcuts::Name& name, std::string_view titleKey)>
            makeRecorder;
        std::vector<GlobalShortcuts::Name> shortcutNames;  // camera off, camera on, last image
    };

    explicit GeneralSettingsView(Sources sources, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;

private:
    [[nodiscard]] GeneralPaneState state() const;
    void render(const GeneralPaneContent& content);
    [[nodiscard]] QString text(std::string_view key) const;
    QWidget* addSection(QVBoxLayout* layout, GeneralSection section, QWidget* body);
    QWidget* makeFailureBlock(const ExtensionFailureBlock& failure);

    Sources m_sources;
    QCheckBox* m_launchAtLogin;
    QLabel* m_extensionStatus;
    QVBoxLayout* m_extensionStatusColumn;
    QWidget* m_failureBlock = nullptr;
    std::optional<ExtensionFailureBlock> m_shownFailure;
    QPushButton* m_reinstall;
    QWidget* m_permissionSection = nullptr;
    widgets::LaterRedraw m_redraw{*this, [this] { render(makeGeneralPaneContent(state(), m_sources.localization)); }};
    std::vector<Subscription> m_subscriptions;
};

}  // namespace moritane
