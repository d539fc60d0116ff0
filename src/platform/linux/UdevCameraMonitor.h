#pragma once

#include "support/Log.h"
#include "support/NotificationCenter.h"

#include <optional>
#include <string_view>
#include <thread>

struct udev;
struct udev_monitor;

namespace moritane {

/// Watches for video devices coming and going and posts the capture devices' connected and
/// disconnected notifications from a thread of its own, as the system would. Without udev (a
/// container, a missing netlink socket) it logs once and posts nothing.
class UdevCameraMonitor {
public:
    UdevCameraMonitor(NotificationCenter& notificationCenter, Log& log);
    UdevCameraMonitor(const UdevCameraMonitor&) = delete;
    UdevCameraMonitor& operator=(const UdevCameraMonitor&) = delete;
    UdevCameraMonitor(UdevCameraMonitor&&) = delete;
    UdevCameraMonitor& operator=(UdevCameraMonitor&&) = delete;
    /// Stops the thread and waits for it.
    ~UdevCameraMonitor();

    /// Whether events are being received.
    [[nodiscard]] bool isWatching() const { return m_thread.joinable(); }

    /// The notification for a udev action on a video device: "add" and "remove" only.
    static std::optional<std::string_view> notificationFor(std::string_view action);

private:
    void run(udev_monitor* monitor);

    NotificationCenter& m_notificationCenter;
    udev* m_udev = nullptr;
    udev_monitor* m_monitor = nullptr;
    int m_stopEvent = -1;
    std::thread m_thread;
};

}  // namespace moritane
