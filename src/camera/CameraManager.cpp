#include "camera/CameraManager.h"

#include "support/Files.h"

#include <fmt/format.h>

#include <algorithm>

namespace moritane {

std::shared_ptr<CameraManager> CameraManager::create(Dependencies dependencies) {
    std::shared_ptr<CameraManager> manager(new CameraManager(std::move(dependencies)));
    manager->start();
    return manager;
}

CameraManager::CameraManager(Dependencies dependencies) : m_dependencies(std::move(dependencies)) {}

void CameraManager::start() {
    if (const auto text = m_dependencies.defaults.string(lastSelectedImageIdKey)) {
        m_lastSelectedImageId = Uuid::fromString(*text);
    }
    loadState();
    if (currentMode.value() == Constants::CameraMode::image && selectedImageId.value()) {
        m_lastSelectedImageId = selectedImageId.value();
    }
    writeState();
    touchHeartbeat();
    m_heartbeatTimer = m_dependencies.runLoop.scheduleTimer(heartbeatInterval, true, TimerModes::defaultMode,
                                                            [weak = weak_from_this()] {
                                                                if (auto self = weak.lock()) {
                                                                    self->touchHeartbeat();
                                                                }
                                                            });
}

void CameraManager::loadState() {
    const auto bytes = files::readFile(m_dependencies.store.stateFileURL(), Constants::maxStateFileBytes);
    if (!bytes) {
        return;
    }
    auto state = Constants::decodeCameraState(bytes.value());
    if (!state) {
        return;
    }
    currentMode = state.value().mode;
    selectedImageId = state.value().selectedImageId;
    selectedCameraId = state.value().selectedCameraId;
}

void CameraManager::turnOff() {
    currentMode = Constants::CameraMode::off;
    selectedImageId = std::nullopt;
    writeState();
}

void CameraManager::switchToCamera() {
    currentMode = Constants::CameraMode::camera;
    selectedImageId = std::nullopt;
    writeState();
}

void CameraManager::selectImage(const Uuid& id) {
    m_lastSelectedImageId = id;
    persistLastSelectedImageId();
    currentMode = Constants::CameraMode::image;
    selectedImageId = id;
    writeState();
}

void CameraManager::showLastImage() {
    const auto ids = m_dependencies.savedImageIds();
    if (ids.empty()) {
        return;
    }
    if (m_lastSelectedImageId && std::find(ids.begin(), ids.end(), *m_lastSelectedImageId) != ids.end()) {
        selectImage(*m_lastSelectedImageId);
    } else {
        selectImage(ids.front());
    }
}

void CameraManager::persistLastSelectedImageId() {
    if (m_lastSelectedImageId) {
        m_dependencies.defaults.setObject(lastSelectedImageIdKey, m_lastSelectedImageId->uuidString());
    } else {
        m_dependencies.defaults.removeObject(lastSelectedImageIdKey);
    }
}

void CameraManager::writeState() {
    const Constants::CameraState state{currentMode.value(), selectedImageId.value(), selectedCameraId.value()};
    if (const auto error = m_dependencies.store.writeState(state)) {
        m_dependencies.log.write(fmt::format("CameraManager: failed to write state.json: {}", error->description));
        return;
    }
    m_dependencies.log.write(fmt::format(
        "CameraManager: wrote state mode={} image={} camera={}", Constants::rawValue(state.mode),
        state.selectedImageId ? state.selectedImageId->uuidString() : "nil", state.selectedCameraId.value_or("nil")));
}

void CameraManager::touchHeartbeat() {
    m_dependencies.store.refreshHeartbeat(m_dependencies.runLoop.now());
}

}  // namespace moritane
