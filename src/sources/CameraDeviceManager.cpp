#include "sources/CameraDeviceManager.h"

namespace moritane {

namespace {

constexpr OperatingSystemVersion kFirstWithContinuityCameras{14, 0, 0};

}  // namespace

std::shared_ptr<CameraDeviceManager> CameraDeviceManager::create(Dependencies dependencies) {
    std::shared_ptr<CameraDeviceManager> manager(new CameraDeviceManager(std::move(dependencies)));
    manager->start();
    return manager;
}

void CameraDeviceManager::start() {
    m_discoveryQueue = m_dependencies.makeSerialQueue(std::string(discoveryQueueLabel));
    queueRefresh();
    auto& center = m_dependencies.notificationCenter;
    for (const auto name : {CaptureDevices::wasConnectedNotification, CaptureDevices::wasDisconnectedNotification}) {
        m_observers.push_back(center.addObserver(std::string(name), [weak = weak_from_this()](const Notification&) {
            if (auto self = weak.lock()) {
                self->queueRefresh();
            }
        }));
    }
}

CameraDeviceManager::~CameraDeviceManager() {
    for (const auto token : m_observers) {
        m_dependencies.notificationCenter.removeObserver(token);
    }
}

void CameraDeviceManager::queueRefresh() {
    // Only weak hold on the manager from the queue: were it the last owner, the manager and
    // its queue would end on the queue's own thread.
    m_discoveryQueue->async([&devices = m_dependencies.devices, &mainQueue = m_dependencies.mainQueue,
                             weak = weak_from_this()] { refreshCameras(devices, mainQueue, weak); });
}

void CameraDeviceManager::refreshCameras(const CaptureDevices& devices, RunLoop& mainQueue,
                                         const std::weak_ptr<CameraDeviceManager>& manager) {
    const bool hasContinuityCameras = devices.operatingSystemVersion().isAtLeast(kFirstWithContinuityCameras);
    const auto deviceTypes =
        hasContinuityCameras
            ? std::vector<std::string_view>{CaptureDeviceType::builtInWideAngleCamera, CaptureDeviceType::external,
                                            CaptureDeviceType::continuityCamera, CaptureDeviceType::deskViewCamera}
            : std::vector<std::string_view>{CaptureDeviceType::builtInWideAngleCamera,
                                            CaptureDeviceType::externalUnknown};
    std::vector<CameraInfo> found;
    for (auto& device : devices.discoverDevices(deviceTypes)) {
        if (device.localizedName == virtualCameraName) {
            continue;
        }
        const bool isContinuity = hasContinuityCameras && device.deviceType == CaptureDeviceType::continuityCamera;
        found.push_back({std::move(device.uniqueID), std::move(device.localizedName), isContinuity});
    }
    mainQueue.post([manager, found = std::move(found)]() mutable {
        if (auto self = manager.lock()) {
            self->cameras = std::move(found);
        }
    });
}

}  // namespace moritane
