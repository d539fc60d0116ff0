#include "shell/model/StatusPopoverModel.h"

#include <string_view>

namespace moritane {

namespace {

using Constants::CameraMode;
using ExtensionCase = SystemExtensionInstaller::Status::Case;

std::string_view previewKey(CameraMode mode) {
    switch (mode) {
    case CameraMode::off:
        return "a11y.preview.off";
    case CameraMode::camera:
        return "a11y.preview.camera";
    case CameraMode::image:
        return "a11y.preview.image";
    }
    return "a11y.preview.off";
}

PopoverRowModel row(std::string title, PopoverAction action) {
    PopoverRowModel made;
    made.title = std::move(title);
    made.action = action;
    return made;
}

CameraMenuModel cameraMenu(const PopoverState& state, const Localization& localization) {
    CameraMenuModel menu;
    menu.label = localization.string("menu.selectCamera");
    menu.items.push_back({localization.string("camera.default"), !state.selectedCameraId.has_value(), std::nullopt});
    menu.hasDivider = !state.cameras.empty();
    for (const auto& camera : state.cameras) {
        auto title = camera.isContinuity
                         ? Localization::format(localization.string("camera.continuitySuffix"), {camera.name})
                         : camera.name;
        menu.items.push_back({std::move(title), state.selectedCameraId == camera.id, camera.id});
    }
    return menu;
}

std::optional<CaptionedRow> extensionBlock(const PopoverState& state, const Localization& localization) {
    const auto kind = state.extensionStatus.kind();
    if (kind == ExtensionCase::activated) {
        return std::nullopt;
    }
    auto caption = localization.string(SystemExtensionInstaller::popoverKey(kind));
    if (const auto& failure = state.extensionStatus.failure()) {
        caption = Localization::format(caption, {failure->message});
    }
    auto install = row(localization.string("menu.installExtension"), PopoverAction::installExtension);
    install.isEnabled = kind != ExtensionCase::requesting;
    return CaptionedRow{std::move(caption), std::move(install)};
}

}  // namespace

PopoverContent makePopoverContent(const PopoverState& state, const Localization& localization) {
    PopoverContent content;
    content.previewAccessibilityLabel = localization.string(previewKey(state.mode));
    content.items = {PopoverItem::preview, PopoverItem::divider};
    if (state.isPermissionDenied) {
        content.permissionBlock = CaptionedRow{
            localization.string("menu.cameraPermission.denied"),
            row(localization.string("menu.cameraPermission.openSettings"), PopoverAction::openCameraPrivacySettings)};
        content.items.insert(content.items.end(), {PopoverItem::permissionBlock, PopoverItem::divider});
    }

    auto off = row(localization.string("menu.cameraOff"), PopoverAction::turnOff);
    off.isChecked = state.mode == CameraMode::off;
    auto on = row(localization.string("menu.cameraOn"), PopoverAction::switchToCamera);
    on.isChecked = state.mode == CameraMode::camera;
    content.modeRows = {std::move(off), std::move(on)};
    content.cameraMenu = cameraMenu(state, localization);
    content.items.insert(content.items.end(), {PopoverItem::modeBlock, PopoverItem::divider});

    for (const auto& image : state.savedImages) {
        auto imageRow = row(image.name, PopoverAction::selectImage);
        imageRow.isChecked = state.mode == CameraMode::image && state.selectedImageId == image.id;
        imageRow.imageId = image.id;
        imageRow.thumbnailFile = imageFileURL(state.imagesDirectory, image);
        content.imageRows.push_back(std::move(imageRow));
    }
    if (!content.imageRows.empty()) {
        content.items.push_back(PopoverItem::imageBlock);
    }
    content.items.insert(content.items.end(), {PopoverItem::divider, PopoverItem::applicationBlock});

    content.applicationRows.push_back(row(localization.string("menu.settings"), PopoverAction::openSettings));
    if (state.hasCheckForUpdates) {
        auto check = row(localization.string("menu.checkForUpdates"), PopoverAction::checkForUpdates);
        check.isEnabled = state.canCheckForUpdates;
        content.applicationRows.push_back(std::move(check));
    }
    content.applicationRows.push_back(row(localization.string("menu.quit"), PopoverAction::quit));

    content.extensionBlock = extensionBlock(state, localization);
    if (content.extensionBlock) {
        content.items.insert(content.items.end(), {PopoverItem::divider, PopoverItem::extensionBlock});
    }
    return content;
}

void chooseCamera(CameraManager& cameraManager, const std::optional<std::string>& chosen) {
    cameraManager.selectedCameraId = chosen;
    cameraManager.writeState();
    if (cameraManager.currentMode.value() != CameraMode::camera) {
        cameraManager.switchToCamera();
    }
}

}  // namespace moritane
