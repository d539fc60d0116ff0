#pragma once

#include "platform/linux/V4l2CaptureDevices.h"
#include "sources/VideoCapture.h"

#include <string>

namespace moritane {

/// The V4L2 cameras that camera discovery lists, found by the ids it gives them. A session reads
/// its camera through the camera's PipeWire node when the session manager publishes one, so that
/// the application's preview and the camera extension can stream it at once, which the device
/// node allows only one program; straight from the device node otherwise.
class V4l2VideoCapture final : public VideoCapture {
public:
    /// `pipewireRemote` names the PipeWire daemon's socket; empty for the user's own.
    explicit V4l2VideoCapture(V4l2CaptureDevices devices = V4l2CaptureDevices(), std::string pipewireRemote = {});

    [[nodiscard]] std::optional<CaptureDevice> deviceWithUniqueID(const std::string& uniqueID) const override;
    [[nodiscard]] std::unique_ptr<CaptureSession> makeSession(FrameSize preset) override;

private:
    const V4l2CaptureDevices m_devices;
    const std::string m_pipewireRemote;
};

}  // namespace moritane
