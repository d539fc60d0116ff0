#pragma once

#include "camera/CameraManager.h"
#include "extension/SystemExtensionInstaller.h"
#include "shell/PopoverWindow.h"
#include "sources/PreviewRenderer.h"
#include "support/Localization.h"
#include "support/Log.h"
#include "support/SharedInstance.h"

#include <QMessageBox>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>

namespace moritane {

/// The actions the popover's content is given, fixed for the life of one popover.
struct PopoverActions {
    std::function<void()> onOpenSettings;
    std::function<void()> onInstallExtension;
    std::function<void()> onCheckForUpdates;
    bool canCheckForUpdates = false;
};

/// The status item in the tray and the popover it opens. Main thread.
class StatusItemController final : public QObject {
public:
    struct Collaborators {
        SharedInstance<CameraManager>& cameraManager;
        SharedInstance<SystemExtensionInstaller>& extensionInstaller;
        SharedInstance<PreviewRenderer>& preview;
        const Localization& localization;
        /// Where the symbols are, one "<symbol>.svg" each.
        std::filesystem::path iconDirectory;
        /// The content of a new popover.
        std::function<std::unique_ptr<QWidget>(PopoverActions)> makePopoverContent;
        std::function<void()> showSettingsWindow;
        std::function<void()> checkForUpdates;
        /// The application's mirror of the updater's property, read at each opening.
        std::function<bool()> canCheckForUpdates;
        Log& log;
    };

    /// How long a tray may take to come up after the program, as at login, before the user is
    /// told that there is none.
    static constexpr std::chrono::milliseconds trayWait{5000};

    explicit StatusItemController(Collaborators collaborators);

    /// Puts the item in the tray with the icon of the present mode; the first reading of the mode
    /// makes the camera manager.
    void setupStatusItem();
    void updateStatusIcon(Constants::CameraMode mode);
    void togglePopover();
    void popoverDidClose();

    [[nodiscard]] QSystemTrayIcon* statusItem() const { return m_statusItem.get(); }
    [[nodiscard]] PopoverWindow* popover() const { return m_popover.get(); }

private:
    void showPopover();
    std::unique_ptr<PopoverWindow> makePopover();
    void closePopover();
    void watchForTray();
    void tellTrayMissing();

    Collaborators m_collaborators;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    std::unique_ptr<PopoverWindow> m_popover;
    std::unique_ptr<QTimer> m_trayWatch;
    std::unique_ptr<QMessageBox> m_trayMissingNotice;
};

}  // namespace moritane
