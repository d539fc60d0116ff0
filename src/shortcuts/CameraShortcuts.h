#pragma once

#include "camera/CameraManager.h"
#include "shortcuts/GlobalShortcuts.h"
#include "support/SharedInstance.h"

#include <optional>

namespace moritane::GlobalShortcuts {

/// The application's three shortcut names, each made (and its default stored, once in the life
/// of the defaults) at its first use, and the camera actions they run.
class CameraShortcuts {
public:
    /// Control, option and command together.
    static constexpr std::int64_t defaultModifiers =
        ModifierFlags::control | ModifierFlags::option | ModifierFlags::command;

    explicit CameraShortcuts(Registry& registry) : m_registry(registry) {}

    const Name& cameraOff();
    const Name& cameraOn();
    const Name& showLastImage();

    /// Attaches the actions to the release of each name's keys, in the order off, on, last image.
    void attachActions(SharedInstance<CameraManager>& cameraManager);

private:
    const Name& name(std::optional<Name>& slot, const char* rawValue, Key key);

    Registry& m_registry;
    std::optional<Name> m_cameraOff;
    std::optional<Name> m_cameraOn;
    std::optional<Name> m_showLastImage;
};

}  // namespace moritane::GlobalShortcuts
