#pragma once

#include "platform/linux/PipeWireCameraNode.h"
#include "platform/linux/V4l2CaptureDevices.h"
#include "sources/VideoCapture.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace moritane {

/// A camera's pictures through the node that the session manager publishes for it in PipeWire,
/// which other programs may stream at the same time. Frames are converted on a PipeWire thread of
/// the session's own and handed to the output's queue.
class PipeWireCaptureSession final : public CaptureSession {
public:
    /// How long makeInput waits for PipeWire to list its nodes.
    static constexpr std::chrono::milliseconds kAnswerLimit{500};

    /// `remote` names the PipeWire daemon's socket; empty for the user's own.
    PipeWireCaptureSession(V4l2CaptureDevices devices, FrameSize preset, std::string remote = {});
    PipeWireCaptureSession(const PipeWireCaptureSession&) = delete;
    PipeWireCaptureSession& operator=(const PipeWireCaptureSession&) = delete;
    ~PipeWireCaptureSession() override;

    /// Finds the camera's node; an error when PipeWire cannot be reached, has no node for it, or the
    /// node offers no format that we convert.
    std::optional<Error> makeInput(const std::string& uniqueID) override;
    [[nodiscard]] bool canAddInput() const override;
    void addInput() override;
    /// Chooses the format and size among what the node offers.
    void makeOutput(DispatchQueue& queue, FrameHandler handler) override;
    [[nodiscard]] bool canAddOutput() const override;
    void addOutput() override;
    /// Streams the node and no other: when it goes, the stream ends rather than move elsewhere.
    void startRunning() override;
    void stopRunning() override;

private:
    struct Delivery;
    struct Stream;

    void release();

    const V4l2CaptureDevices m_devices;
    const FrameSize m_preset;
    const std::string m_remote;
    std::optional<PipeWireCameraNode> m_node;
    bool m_inputAdded = false;
    bool m_outputAdded = false;
    DispatchQueue* m_queue = nullptr;
    std::shared_ptr<Delivery> m_delivery;
    std::optional<V4l2CaptureSession::StreamChoice> m_choice;
    std::unique_ptr<Stream> m_stream;
    std::mutex m_lifecycle;
};

}  // namespace moritane
