#pragma once

#include "camera/CameraManager.h"
#include "camera/SharedStore.h"
#include "frames/Frame.h"
#include "frames/ImageDecoder.h"
#include "library/ImageManager.h"
#include "sources/VideoCapture.h"
#include "support/DispatchQueue.h"
#include "support/Log.h"
#include "support/Published.h"
#include "support/RunLoop.h"
#include "support/SharedInstance.h"
#include "support/Subscription.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// The popover's small live picture of what the virtual camera shows: black, the library image or
/// a physical camera, made here from the camera manager's state. It does nothing unless active.
class PreviewRenderer : public std::enable_shared_from_this<PreviewRenderer> {
public:
    using QueueFactory = std::function<std::unique_ptr<DispatchQueue>(std::string label)>;

    struct Dependencies {
        CameraManager& cameraManager;
        /// Made at its first use, which may be here.
        SharedInstance<ImageManager>& imageManager;
        const SharedStore& store;
        VideoCapture& capture;
        const ImageDecoder& imageDecoder;
        RunLoop& mainQueue;
        Log& log;
        /// Makes the serial queue on which sessions start and frames are reduced.
        QueueFactory makeSerialQueue;
    };

    static constexpr std::string_view captureQueueLabel = "com.orsk.moritane.previewcapture";
    /// Every frame has this size, whatever its source.
    static constexpr int frameWidth = 320;
    static constexpr int frameHeight = 180;

    /// Subscribes to the camera manager for the life of the renderer.
    static std::shared_ptr<PreviewRenderer> create(Dependencies dependencies);

    PreviewRenderer(const PreviewRenderer&) = delete;
    PreviewRenderer& operator=(const PreviewRenderer&) = delete;
    PreviewRenderer(PreviewRenderer&&) = delete;
    PreviewRenderer& operator=(PreviewRenderer&&) = delete;
    ~PreviewRenderer() = default;

    /// The frame to show. Main thread only.
    Published<std::optional<Frame>> currentFrame;

    /// Whether the popover is open. Written on the main thread, read on the capture queue too.
    [[nodiscard]] bool isActive() const { return m_isActive.load(); }
    /// Marks the popover open; whoever opens it then calls update(). Closing goes through stop().
    void setActive() { m_isActive = true; }

    /// Renders anew for the camera manager's present state. Main thread.
    void update();
    /// Ends the preview: no session, no frame, nothing remembered. Main thread.
    void stop();

    /// Called on the capture queue with each camera frame.
    void captureOutput(const Frame& frame);

    [[nodiscard]] DispatchQueue& captureQueue() { return *m_captureQueue; }
    [[nodiscard]] Constants::CameraMode lastConfiguredMode() const { return m_lastConfiguredMode; }
    [[nodiscard]] const std::optional<std::string>& lastConfiguredCameraId() const { return m_lastConfiguredCameraId; }
    [[nodiscard]] const std::optional<Uuid>& lastConfiguredImageId() const { return m_lastConfiguredImageId; }
    [[nodiscard]] bool hasCaptureSession() const { return m_captureSession != nullptr; }

    static Frame makeBlackFrame();
    static Frame makeImageFrame(const Frame& image);

private:
    explicit PreviewRenderer(Dependencies dependencies);

    void subscribe();
    void stopAndDropSession();
    void showImage(const std::optional<Uuid>& imageId);
    void setupCamera(const std::optional<std::string>& cameraId);
    /// On the capture queue.
    static void configureSession(const std::weak_ptr<PreviewRenderer>& renderer, const std::string& cameraId);
    void commitSession(const std::string& cameraId, std::shared_ptr<CaptureSession> session);
    void publishFrame(Frame frame);

    Dependencies m_dependencies;
    std::unique_ptr<DispatchQueue> m_captureQueue;
    std::shared_ptr<CaptureSession> m_captureSession;
    std::vector<Subscription> m_cancellables;
    std::atomic<bool> m_isActive = false;
    /// The camera manager's mode as last assigned, for reading on the capture queue.
    std::atomic<Constants::CameraMode> m_modeSeenByCapture{Constants::CameraMode::off};
    Constants::CameraMode m_lastConfiguredMode = Constants::CameraMode::off;
    std::optional<std::string> m_lastConfiguredCameraId;
    std::optional<Uuid> m_lastConfiguredImageId;
};

}  // namespace moritane
