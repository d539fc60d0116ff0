#pragma once

#include "platform/linux/V4l2CaptureDevices.h"
#include "sources/VideoCapture.h"

namespace moritane {

/// The V4L2 cameras that camera discovery lists, found by the ids it gives them.
class V4l2VideoCapture final : public VideoCapture {
public:
    explicit V4l2VideoCapture(V4l2CaptureDevices devices = V4l2CaptureDevices());

    [[nodiscard]] std::optional<CaptureDevice> deviceWithUniqueID(const std::string& uniqueID) const override;
    [[nodiscard]] std::unique_ptr<CaptureSession> makeSession(FrameSize preset) override;

private:
    const V4l2CaptureDevices m_devices;
};

}  // namespace moritane
