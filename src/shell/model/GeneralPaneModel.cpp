#include "shell/model/GeneralPaneModel.h"

#include "shell/model/AboutModel.h"

namespace moritane {

namespace {

using Case = SystemExtensionInstaller::Status::Case;

std::string_view statusKey(Case status) {
    switch (status) {
    case Case::idle:
        return "settings.extension.status.idle";
    case Case::requesting:
        return "settings.extension.status.requesting";
    case Case::needsUserApproval:
        return "settings.extension.status.needsApproval";
    case Case::activated:
        return "settings.extension.status.activated";
    case Case::failed:
        return "settings.extension.status.failed";
    }
    return "settings.extension.status.idle";
}

}  // namespace

GeneralPaneContent makeGeneralPaneContent(const GeneralPaneState& state, const Localization& localization) {
    GeneralPaneContent content;
    content.sections = {GeneralSection::language, GeneralSection::startup, GeneralSection::extension};
    if (state.isCameraPermissionDenied) {
        content.sections.push_back(GeneralSection::cameraPermission);
    }
    content.sections.insert(content.sections.end(), {GeneralSection::onboarding, GeneralSection::shortcuts});
    content.launchAtLogin = state.isLoginItemEnabled;

    const auto kind = state.extensionStatus.kind();
    if (const auto& failure = state.extensionStatus.failure(); kind == Case::failed && failure) {
        content.extensionFailure = ExtensionFailureBlock{
            .text = localization.string(statusKey(kind)) + "\n" + failure->message,
            .showsOpenSettings = failure->opensSecuritySettings,
            .supportURL =
                failure->needsSupport && isValidURL(state.supportURL) ? std::optional(state.supportURL) : std::nullopt,
            .diagnostic = failure->diagnostic,
        };
    } else {
        content.extensionStatus = localization.string(statusKey(kind));
    }
    content.isReinstallEnabled = kind != Case::requesting;
    return content;
}

std::string_view sectionHeaderKey(GeneralSection section) {
    switch (section) {
    case GeneralSection::language:
        return "settings.section.language";
    case GeneralSection::startup:
        return "settings.section.startup";
    case GeneralSection::extension:
        return "settings.section.extension";
    case GeneralSection::cameraPermission:
        return "settings.section.cameraPermission";
    case GeneralSection::onboarding:
        return "settings.section.onboarding";
    case GeneralSection::shortcuts:
        return "settings.section.shortcuts";
    }
    return "settings.section.language";
}

void reinstallExtension(SystemExtensionInstaller& installer) {
    if (installer.status.value().kind() != Case::requesting) {
        installer.submitActivation();
    }
}

}  // namespace moritane
