#pragma once

#include "sources/CaptureDevices.h"

#include <algorithm>
#include <mutex>
#include <thread>

namespace moritane {

/// Devices that the test sets, listed as the system would: only those of the asked types, in
/// the order given. Records every discovery and the thread it ran on.
class FakeCaptureDevices final : public CaptureDevices {
public:
    struct Discovery {
        std::vector<std::string> deviceTypes;
        std::thread::id thread;
    };

    [[nodiscard]] std::vector<CaptureDevice> discoverDevices(
        const std::vector<std::string_view>& deviceTypes) const override {
        const std::scoped_lock lock(m_mutex);
        m_discoveries.push_back({{deviceTypes.begin(), deviceTypes.end()}, std::this_thread::get_id()});
        std::vector<CaptureDevice> found;
        for (const auto& device : m_devices) {
            if (std::find(deviceTypes.begin(), deviceTypes.end(), device.deviceType) != deviceTypes.end()) {
                found.push_back(device);
            }
        }
        return found;
    }

    [[nodiscard]] OperatingSystemVersion operatingSystemVersion() const override {
        const std::scoped_lock lock(m_mutex);
        return m_version;
    }

    void setDevices(std::vector<CaptureDevice> devices) {
        const std::scoped_lock lock(m_mutex);
        m_devices = std::move(devices);
    }
    void setVersion(OperatingSystemVersion version) {
        const std::scoped_lock lock(m_mutex);
        m_version = version;
    }
    [[nodiscard]] std::vector<Discovery> discoveries() const {
        const std::scoped_lock lock(m_mutex);
        return m_discoveries;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<CaptureDevice> m_devices;
    OperatingSystemVersion m_version{14, 0, 0};
    mutable std::vector<Discovery> m_discoveries;
};

}  // namespace moritane
