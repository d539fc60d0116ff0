#pragma once

#include "sources/CameraInfo.h"
#include "sources/CaptureDevices.h"
#include "support/DispatchQueue.h"
#include "support/NotificationCenter.h"
#include "support/Published.h"
#include "support/RunLoop.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace moritane {

/// Keeps the list of physical cameras: lists the devices whenever one comes or goes, leaves out
/// the virtual camera and publishes the result on the main thread.
class CameraDeviceManager : public std::enable_shared_from_this<CameraDeviceManager> {
public:
    using QueueFactory = std::function<std::unique_ptr<DispatchQueue>(std::string label)>;

    struct Dependencies {
        const CaptureDevices& devices;
        NotificationCenter& notificationCenter;
        RunLoop& mainQueue;
        /// Makes the serial queue on which discovery runs.
        QueueFactory makeSerialQueue;
    };

    static constexpr std::string_view discoveryQueueLabel = "com.orsk.moritane.cameradiscovery";

    /// Starts discovery at once.
    static std::shared_ptr<CameraDeviceManager> create(Dependencies dependencies);

    CameraDeviceManager(const CameraDeviceManager&) = delete;
    CameraDeviceManager& operator=(const CameraDeviceManager&) = delete;
    CameraDeviceManager(CameraDeviceManager&&) = delete;
    CameraDeviceManager& operator=(CameraDeviceManager&&) = delete;
    ~CameraDeviceManager();

    /// In the system's order, duplicates kept. Written on the main thread only; every refresh
    /// assigns it, changed or not.
    Published<std::vector<CameraInfo>> cameras;

    [[nodiscard]] const DispatchQueue& discoveryQueue() const { return *m_discoveryQueue; }

private:
    explicit CameraDeviceManager(Dependencies dependencies) : m_dependencies(std::move(dependencies)) {}

    void start();
    /// On the discovery queue only.
    static void refreshCameras(const CaptureDevices& devices, RunLoop& mainQueue,
                               const std::weak_ptr<CameraDeviceManager>& manager);
    /// Any thread.
    void queueRefresh();

    Dependencies m_dependencies;
    std::vector<ObserverToken> m_observers;
    std::unique_ptr<DispatchQueue> m_discoveryQueue;
};

}  // namespace moritane
