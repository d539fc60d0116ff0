#pragma once

#include "platform/linux/V4l2CaptureDevices.h"
#include "sources/VideoCapture.h"

#include <linux/videodev2.h>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace moritane {

/// A camera's pictures through libv4l2, which turns formats of odd cameras into ones we convert.
/// Frames are read on a thread of the session's own and handed to the output's queue.
class V4l2CaptureSession final : public CaptureSession {
public:
    /// One pixel format that the node offers, with the sizes it offers it in.
    struct FormatOffer {
        std::uint32_t pixelFormat = 0;
        /// Made by libv4l2 out of what the camera sends, at the cost of a conversion.
        bool emulated = false;
        std::vector<FrameSize> sizes;
    };

    struct StreamChoice {
        std::uint32_t pixelFormat = 0;
        FrameSize size;

        friend bool operator==(const StreamChoice&, const StreamChoice&) = default;
    };

    V4l2CaptureSession(V4l2CaptureDevices devices, FrameSize preset);
    V4l2CaptureSession(const V4l2CaptureSession&) = delete;
    V4l2CaptureSession& operator=(const V4l2CaptureSession&) = delete;
    ~V4l2CaptureSession() override;

    std::optional<Error> makeInput(const std::string& uniqueID) override;
    [[nodiscard]] bool canAddInput() const override;
    void addInput() override;
    void makeOutput(DispatchQueue& queue, FrameHandler handler) override;
    [[nodiscard]] bool canAddOutput() const override;
    void addOutput() override;
    void startRunning() override;
    void stopRunning() override;

    /// The size taken for `preset`: the same size if offered; else the smallest (by area) that is
    /// at least as wide and as tall, so that nothing is lost; else the largest. None when
    /// nothing is offered.
    static std::optional<FrameSize> nearestSize(const std::vector<FrameSize>& sizes, FrameSize preset);

    /// The size nearest `preset` among the formats we convert, then the cheapest format in that
    /// size: uncompressed ones the camera sends, then its JPEG, then libv4l2's conversions.
    static std::optional<StreamChoice> chooseStream(const std::vector<FormatOffer>& offers, FrameSize preset);

    /// One dequeued buffer of the stream `format` as a frame; none when its bytes do not hold it.
    static std::optional<Frame> frameFromBuffer(const v4l2_pix_format& format, std::span<const std::uint8_t> bytes);

private:
    struct Delivery;

    [[nodiscard]] std::vector<FormatOffer> offers() const;
    bool startStreaming();
    void readFrames();
    void deliver(const v4l2_buffer& buffer);
    void release();

    const V4l2CaptureDevices m_devices;
    const FrameSize m_preset;
    int m_device = -1;
    bool m_inputAdded = false;
    bool m_outputAdded = false;
    DispatchQueue* m_queue = nullptr;
    std::shared_ptr<Delivery> m_delivery;
    std::optional<StreamChoice> m_choice;
    // Set up before the reader starts and left alone until it has ended.
    v4l2_pix_format m_format{};
    std::vector<std::span<std::uint8_t>> m_buffers;
    int m_wake = -1;
    std::thread m_reader;
    std::mutex m_lifecycle;
};

}  // namespace moritane
