#pragma once

#include "camera/CameraManager.h"
#include "camera/Constants.h"
#include "extension/SystemExtensionInstaller.h"
#include "library/SavedImage.h"
#include "sources/CameraInfo.h"
#include "support/Localization.h"
#include "support/Uuid.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// Everything the popover reads, as it stands at the moment of drawing.
struct PopoverState {
    Constants::CameraMode mode = Constants::CameraMode::off;
    std::optional<Uuid> selectedImageId;
    std::optional<std::string> selectedCameraId;
    std::vector<SavedImage> savedImages;
    std::filesystem::path imagesDirectory;
    std::vector<CameraInfo> cameras;
    SystemExtensionInstaller::Status extensionStatus = SystemExtensionInstaller::Status::idle();
    bool isPermissionDenied = false;
    /// A copy made when the popover was built; it does not follow the updater.
    bool canCheckForUpdates = false;
    bool hasCheckForUpdates = false;
};

enum class PopoverAction {
    openCameraPrivacySettings,
    turnOff,
    switchToCamera,
    selectImage,
    openSettings,
    checkForUpdates,
    quit,
    installExtension,
};

struct PopoverRowModel {
    std::string title;
    bool isChecked = false;
    bool isEnabled = true;
    PopoverAction action = PopoverAction::openSettings;
    /// For `selectImage`.
    std::optional<Uuid> imageId;
    /// The file to read the row's thumbnail from; none for rows without one.
    std::optional<std::filesystem::path> thumbnailFile;

    friend bool operator==(const PopoverRowModel&, const PopoverRowModel&) = default;
};

struct CameraMenuItem {
    std::string title;
    bool isChecked = false;
    /// None for the system's default camera.
    std::optional<std::string> cameraId;

    friend bool operator==(const CameraMenuItem&, const CameraMenuItem&) = default;
};

struct CameraMenuModel {
    std::string label;
    /// The default item first.
    std::vector<CameraMenuItem> items;
    /// Between the default item and the cameras, only when there are cameras.
    bool hasDivider = false;
};

/// A caption above a row: the permission warning or the extension's status.
struct CaptionedRow {
    std::string caption;
    PopoverRowModel row;
};

/// The items of the popover's stack, top to bottom.
enum class PopoverItem { preview, divider, permissionBlock, modeBlock, imageBlock, applicationBlock, extensionBlock };

struct PopoverContent {
    std::vector<PopoverItem> items;
    std::string previewAccessibilityLabel;
    std::optional<CaptionedRow> permissionBlock;
    std::vector<PopoverRowModel> modeRows;
    CameraMenuModel cameraMenu;
    std::vector<PopoverRowModel> imageRows;
    std::vector<PopoverRowModel> applicationRows;
    std::optional<CaptionedRow> extensionBlock;
};

PopoverContent makePopoverContent(const PopoverState& state, const Localization& localization);

/// The camera menu's action: always ends in camera mode, writing the state once more on the way
/// from another mode.
void chooseCamera(CameraManager& cameraManager, const std::optional<std::string>& chosen);

}  // namespace moritane
