#include "shortcuts/CameraShortcuts.h"

namespace moritane::GlobalShortcuts {

const Name& CameraShortcuts::name(std::optional<Name>& slot, const char* rawValue, Key key) {
    if (!slot) {
        slot = m_registry.makeName(rawValue, Shortcut::make(key, defaultModifiers));
    }
    return *slot;
}

const Name& CameraShortcuts::cameraOff() {
    return name(m_cameraOff, "cameraOff", Key::zero);
}

const Name& CameraShortcuts::cameraOn() {
    return name(m_cameraOn, "cameraOn", Key::one);
}

const Name& CameraShortcuts::showLastImage() {
    return name(m_showLastImage, "showLastImage", Key::two);
}

void CameraShortcuts::attachActions(SharedInstance<CameraManager>& cameraManager) {
    m_registry.onKeyUp(cameraOff(), [&cameraManager] { cameraManager.get().turnOff(); });
    m_registry.onKeyUp(cameraOn(), [&cameraManager] { cameraManager.get().switchToCamera(); });
    m_registry.onKeyUp(showLastImage(), [&cameraManager] { cameraManager.get().showLastImage(); });
}

}  // namespace moritane::GlobalShortcuts
