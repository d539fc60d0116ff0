#include "platform/linux/UdevCameraMonitor.h"

#include "sources/CaptureDevices.h"
#include "support/Files.h"

#include <fmt/format.h>
#include <libudev.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdint>

namespace moritane {

UdevCameraMonitor::UdevCameraMonitor(NotificationCenter& notificationCenter, Log& log)
    : m_notificationCenter(notificationCenter) {
    const auto fail = [&](std::string_view what) {
        log.write(fmt::format("Cameras: not watching for cameras coming and going: {}", what));
    };
    m_udev = udev_new();
    if (m_udev == nullptr) {
        fail("no udev");
        return;
    }
    // Events that udev has finished with, so that the node is ready (and has its permissions)
    // when discovery looks; straight from the kernel where no udev daemon runs.
    const char* source = files::exists("/run/udev/control") ? "udev" : "kernel";
    m_monitor = udev_monitor_new_from_netlink(m_udev, source);
    if (m_monitor == nullptr ||
        udev_monitor_filter_add_match_subsystem_devtype(m_monitor, "video4linux", nullptr) < 0 ||
        udev_monitor_enable_receiving(m_monitor) < 0) {
        fail("the device event socket cannot be opened");
        return;
    }
    m_stopEvent = ::eventfd(0, EFD_CLOEXEC);
    if (m_stopEvent < 0) {
        fail(files::posixError(errno, "could not make", "an event descriptor").description);
        return;
    }
    m_thread = std::thread([this, monitor = m_monitor] { run(monitor); });
}

UdevCameraMonitor::~UdevCameraMonitor() {
    if (m_thread.joinable()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(m_stopEvent, &one, sizeof one);
        m_thread.join();
    }
    if (m_stopEvent >= 0) {
        ::close(m_stopEvent);
    }
    if (m_monitor != nullptr) {
        udev_monitor_unref(m_monitor);
    }
    if (m_udev != nullptr) {
        udev_unref(m_udev);
    }
}

std::optional<std::string_view> UdevCameraMonitor::notificationFor(std::string_view action) {
    if (action == "add") {
        return CaptureDevices::wasConnectedNotification;
    }
    if (action == "remove") {
        return CaptureDevices::wasDisconnectedNotification;
    }
    return std::nullopt;
}

void UdevCameraMonitor::run(udev_monitor* monitor) {
    std::array<pollfd, 2> watched{{{udev_monitor_get_fd(monitor), POLLIN, 0}, {m_stopEvent, POLLIN, 0}}};
    while (true) {
        if (::poll(watched.data(), watched.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        if ((watched[1].revents & POLLIN) != 0) {
            return;
        }
        if ((watched[0].revents & POLLIN) == 0) {
            continue;
        }
        udev_device* device = udev_monitor_receive_device(monitor);
        if (device == nullptr) {
            continue;  // a message that was not for us, or a burst that overflowed: the next one counts
        }
        const char* action = udev_device_get_action(device);
        const auto notification = notificationFor(action != nullptr ? action : "");
        udev_device_unref(device);
        if (notification) {
            m_notificationCenter.post(*notification);
        }
    }
}

}  // namespace moritane
