#pragma once

#include "camera/Constants.h"

#include <string_view>

namespace moritane {

/// What the status item shows for a mode: the shape of a symbol and a spoken label. The icon has
/// no colour of its own and no badge.
struct StatusIcon {
    std::string_view symbol;
    std::string_view labelKey;

    friend bool operator==(const StatusIcon&, const StatusIcon&) = default;
};

constexpr StatusIcon statusIcon(Constants::CameraMode mode) {
    switch (mode) {
    case Constants::CameraMode::off:
        return {"video.slash.fill", "a11y.statusItem.off"};
    case Constants::CameraMode::camera:
        return {"video.fill", "a11y.statusItem.camera"};
    case Constants::CameraMode::image:
        return {"photo.fill", "a11y.statusItem.image"};
    }
    return {"video.slash.fill", "a11y.statusItem.off"};
}

/// The status item's tool tip, the same in every mode.
inline constexpr std::string_view statusItemToolTip = "Moritane";

}  // namespace moritane
