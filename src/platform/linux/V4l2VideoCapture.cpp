#include "platform/linux/V4l2VideoCapture.h"

#include "platform/linux/PipeWireCaptureSession.h"
#include "platform/linux/V4l2CaptureSession.h"

#include <mutex>

namespace moritane {

namespace {

/// Chooses at each makeInput how to read the camera, then leaves every step to that session.
class SharedCameraSession final : public CaptureSession {
public:
    SharedCameraSession(V4l2CaptureDevices devices, FrameSize preset, std::string remote)
        : m_devices(std::move(devices)), m_preset(preset), m_remote(std::move(remote)) {}

    std::optional<Error> makeInput(const std::string& uniqueID) override {
        const std::lock_guard lock(m_choosing);
        m_chosen.reset();
        auto shared = std::make_unique<PipeWireCaptureSession>(m_devices, m_preset, m_remote);
        if (!shared->makeInput(uniqueID)) {
            m_chosen = std::move(shared);
            return std::nullopt;
        }
        // No PipeWire, or none of its nodes is this camera: the device node tells what is wrong, if anything.
        m_chosen = std::make_unique<V4l2CaptureSession>(m_devices, m_preset);
        return m_chosen->makeInput(uniqueID);
    }
    [[nodiscard]] bool canAddInput() const override { return m_chosen && m_chosen->canAddInput(); }
    void addInput() override {
        if (m_chosen) {
            m_chosen->addInput();
        }
    }
    void makeOutput(DispatchQueue& queue, FrameHandler handler) override {
        if (m_chosen) {
            m_chosen->makeOutput(queue, std::move(handler));
        }
    }
    [[nodiscard]] bool canAddOutput() const override { return m_chosen && m_chosen->canAddOutput(); }
    void addOutput() override {
        if (m_chosen) {
            m_chosen->addOutput();
        }
    }
    void startRunning() override {
        if (m_chosen) {
            m_chosen->startRunning();
        }
    }
    void stopRunning() override {
        const std::lock_guard lock(m_choosing);
        if (m_chosen) {
            m_chosen->stopRunning();
        }
    }

private:
    const V4l2CaptureDevices m_devices;
    const FrameSize m_preset;
    const std::string m_remote;
    std::unique_ptr<CaptureSession> m_chosen;
    std::mutex m_choosing;
};

}  // namespace

V4l2VideoCapture::V4l2VideoCapture(V4l2CaptureDevices devices, std::string pipewireRemote)
    : m_devices(std::move(devices)), m_pipewireRemote(std::move(pipewireRemote)) {}

std::optional<CaptureDevice> V4l2VideoCapture::deviceWithUniqueID(const std::string& uniqueID) const {
    auto camera = m_devices.locate(uniqueID);
    return camera ? std::optional(std::move(camera->device)) : std::nullopt;
}

std::unique_ptr<CaptureSession> V4l2VideoCapture::makeSession(FrameSize preset) {
    return std::make_unique<SharedCameraSession>(m_devices, preset, m_pipewireRemote);
}

}  // namespace moritane
