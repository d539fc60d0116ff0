#pragma once

#include "extension/SystemExtensionInstaller.h"
#include "support/Localization.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moritane {

/// Everything the General pane reads, as it stands at the moment of drawing.
struct GeneralPaneState {
    bool isLoginItemEnabled = false;
    SystemExtensionInstaller::Status extensionStatus = SystemExtensionInstaller::Status::idle();
    bool isCameraPermissionDenied = false;
    /// The product's support page; left out where it is no valid address.
    std::string supportURL;
};

enum class GeneralSection { language, startup, extension, cameraPermission, onboarding, shortcuts };

/// What the extension section shows of a failed attempt.
struct ExtensionFailureBlock {
    /// The failed status's text, a line break, then the failure's message.
    std::string text;
    bool showsOpenSettings = false;
    /// The support link, when the failure asks for one and the address is valid.
    std::optional<std::string> supportURL;
    /// For the user to copy into a support request.
    std::string diagnostic;

    friend bool operator==(const ExtensionFailureBlock&, const ExtensionFailureBlock&) = default;
};

struct GeneralPaneContent {
    std::vector<GeneralSection> sections;
    bool launchAtLogin = false;
    /// The status text; empty when the failure block stands in its place.
    std::string extensionStatus;
    std::optional<ExtensionFailureBlock> extensionFailure;
    bool isReinstallEnabled = true;
};

GeneralPaneContent makeGeneralPaneContent(const GeneralPaneState& state, const Localization& localization);

/// The header key of a section.
std::string_view sectionHeaderKey(GeneralSection section);

/// The reinstall button's action: reads the status again and never starts a second request.
void reinstallExtension(SystemExtensionInstaller& installer);

}  // namespace moritane
