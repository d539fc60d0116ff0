#include "shell/StatusItemController.h"

#include "shell/Symbols.h"

#include "shell/model/StatusIcon.h"

#include <fmt/format.h>

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QPointer>

namespace moritane {

StatusItemController::StatusItemController(Collaborators collaborators) : m_collaborators(std::move(collaborators)) {}

void StatusItemController::setupStatusItem() {
    m_statusItem = std::make_unique<QSystemTrayIcon>();
    updateStatusIcon(m_collaborators.cameraManager.get().currentMode.value());
    // No menu: any click means the popover. A double click is two clicks already told.
    connect(m_statusItem.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason != QSystemTrayIcon::DoubleClick) {
            togglePopover();
        }
    });
    m_statusItem->show();
    watchForTray();
}

void StatusItemController::watchForTray() {
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        return;
    }
    constexpr std::chrono::milliseconds kLook{250};
    m_trayWatch = std::make_unique<QTimer>();
    m_trayWatch->setInterval(kLook);
    connect(m_trayWatch.get(), &QTimer::timeout, this, [this, deadline = std::chrono::steady_clock::now() + trayWait] {
        if (QSystemTrayIcon::isSystemTrayAvailable()) {
            m_trayWatch->stop();
            // The icon's widget exists from now on: it takes the label.
            updateStatusIcon(m_collaborators.cameraManager.get().currentMode.value());
        } else if (std::chrono::steady_clock::now() >= deadline) {
            m_trayWatch->stop();
            tellTrayMissing();
        }
    });
    m_trayWatch->start();
}

void StatusItemController::tellTrayMissing() {
    m_collaborators.log.write(
        fmt::format("StatusItem: no system tray after {} seconds; the icon waits for one, the shortcuts work meanwhile",
                    std::chrono::duration_cast<std::chrono::seconds>(trayWait).count()));
    const auto& texts = m_collaborators.localization;
    m_trayMissingNotice =
        std::make_unique<QMessageBox>(QMessageBox::Information, QStringLiteral("Moritane"),
                                      QString::fromStdString(texts.string("tray.missing.message")), QMessageBox::Ok);
    m_trayMissingNotice->setInformativeText(QString::fromStdString(texts.string("tray.missing.help")));
    m_trayMissingNotice->setWindowModality(Qt::NonModal);
    m_trayMissingNotice->show();
}

void StatusItemController::updateStatusIcon(Constants::CameraMode mode) {
    if (!m_statusItem) {
        return;
    }
    const auto icon = statusIcon(mode);
    const auto file = symbols::file(m_collaborators.iconDirectory, icon.symbol);
    QIcon image;
    if (QFile::exists(file)) {
        image = QIcon(file);
        // A mask: the tray colours the shape for its own background.
        image.setIsMask(true);
    }
    m_statusItem->setIcon(image);
    // Qt offers no spoken label for a tray icon; on an XEmbed tray the icon is a widget of ours,
    // which screen readers can name.
    const auto label = QString::fromStdString(m_collaborators.localization.string(icon.labelKey));
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->inherits("QSystemTrayIconSys")) {
            widget->setAccessibleName(label);
        }
    }
    m_statusItem->setToolTip(
        QString::fromUtf8(statusItemToolTip.data(), static_cast<qsizetype>(statusItemToolTip.size())));
}

void StatusItemController::togglePopover() {
    if (m_popover && m_popover->isVisible()) {
        m_popover->performClose();
        return;
    }
    showPopover();
}

void StatusItemController::showPopover() {
    // The earlier popover is dropped later, not from within its own close.
    if (m_popover) {
        m_popover.release()->deleteLater();
    }
    m_popover = makePopover();
    m_collaborators.extensionInstaller.get().refreshStatus();
    auto& preview = m_collaborators.preview.get();
    if (!preview.isActive()) {
        preview.setActive();
        preview.update();
    }
    m_popover->showRelativeTo(m_statusItem ? m_statusItem->geometry() : QRect());
}

std::unique_ptr<PopoverWindow> StatusItemController::makePopover() {
    PopoverActions actions{
        .onOpenSettings =
            [this] {
                closePopover();
                m_collaborators.showSettingsWindow();
            },
        .onInstallExtension =
            [this] {
                auto& installer = m_collaborators.extensionInstaller.get();
                if (installer.status.value().kind() != SystemExtensionInstaller::Status::Case::requesting) {
                    installer.submitActivation();
                }
            },
        .onCheckForUpdates =
            [this] {
                closePopover();
                m_collaborators.checkForUpdates();
            },
        .canCheckForUpdates = m_collaborators.canCheckForUpdates(),
    };
    return std::make_unique<PopoverWindow>(m_collaborators.makePopoverContent(std::move(actions)),
                                           [this] { popoverDidClose(); });
}

void StatusItemController::closePopover() {
    if (m_popover) {
        m_popover->performClose();
    }
}

void StatusItemController::popoverDidClose() {
    m_collaborators.preview.get().stop();
}

}  // namespace moritane
