#include "platform/linux/V4l2VideoCapture.h"

#include "platform/linux/V4l2CaptureSession.h"

namespace moritane {

V4l2VideoCapture::V4l2VideoCapture(V4l2CaptureDevices devices) : m_devices(std::move(devices)) {}

std::optional<CaptureDevice> V4l2VideoCapture::deviceWithUniqueID(const std::string& uniqueID) const {
    auto camera = m_devices.locate(uniqueID);
    return camera ? std::optional(std::move(camera->device)) : std::nullopt;
}

std::unique_ptr<CaptureSession> V4l2VideoCapture::makeSession(FrameSize preset) {
    return std::make_unique<V4l2CaptureSession>(m_devices, preset);
}

}  // namespace moritane
