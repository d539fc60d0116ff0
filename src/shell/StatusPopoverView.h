#pragma once

#include "camera/CameraManager.h"
#include "camera/SharedStore.h"
#include "extension/SystemExtensionInstaller.h"
#include "frames/ImageDecoder.h"
#include "library/ImageManager.h"
#include "shell/Widgets.h"
#include "shell/model/StatusPopoverModel.h"
#include "sources/CameraDeviceManager.h"
#include "sources/CameraPermission.h"
#include "sources/PreviewRenderer.h"
#include "sources/Workspace.h"
#include "support/Localization.h"
#include "support/Subscription.h"

#include <QWidget>

#include <functional>
#include <vector>

class QVBoxLayout;

namespace moritane {

class PopoverRow;
class PreviewView;

/// Everything inside the popover: preview, mode, camera, images, settings, updates, quit and the
/// extension's state. Made anew at each opening; it redraws at every change of what it shows.
class StatusPopoverView final : public QWidget {
public:
    struct Sources {
        CameraManager& cameraManager;
        ImageManager& imageManager;
        CameraDeviceManager& cameraDevices;
        SystemExtensionInstaller& extensionInstaller;
        PreviewRenderer& preview;
        CameraPermission& cameraPermission;
        Workspace& workspace;
        const Localization& localization;
        const SharedStore& store;
        /// Reads the thumbnails, anew at every redraw.
        const ImageDecoder& imageDecoder;
    };

    struct Inputs {
        std::function<void()> onOpenSettings;
        std::function<void()> onInstallExtension;
        /// Empty: no check-for-updates row.
        std::function<void()> onCheckForUpdates;
        /// Fixed for the life of this view.
        bool canCheckForUpdates = false;
        std::function<void()> onQuit;
    };

    StatusPopoverView(Sources sources, Inputs inputs, QWidget* parent = nullptr);

    static constexpr int kWidth = 260;

protected:
    void showEvent(QShowEvent* event) override;

private:
    [[nodiscard]] PopoverState state() const;
    void rebuild();
    QWidget* makeBody(const PopoverContent& content);
    PopoverRow* makeRow(const PopoverRowModel& model);
    PopoverRow* makeCameraMenu(const CameraMenuModel& model);
    void perform(const PopoverRowModel& row);

    Sources m_sources;
    Inputs m_inputs;
    QVBoxLayout* m_layout;
    PreviewView* m_preview;
    QWidget* m_body = nullptr;
    /// In tab order, for keeping the keyboard focus across rebuilds.
    std::vector<PopoverRow*> m_rows;
    widgets::LaterRedraw m_redraw{*this, [this] { rebuild(); }};
    std::vector<Subscription> m_subscriptions;
};

}  // namespace moritane
