#pragma once

#include "camera/CameraState.h"
#include "cameraextension/DirectoryWatcher.h"
#include "cameraextension/FrameSink.h"
#include "frames/Frame.h"
#include "frames/ImageDecoder.h"
#include "sources/CaptureDevices.h"
#include "sources/VideoCapture.h"
#include "support/DispatchQueue.h"
#include "support/Log.h"
#include "support/RunLoop.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace moritane {

/// The virtual camera's picture maker: follows the shared directory that the application writes,
/// makes the frame it asks for (black, a library image, a physical camera) and hands it to the
/// sinks while anybody may be watching. It writes nothing to the shared directory. Main thread.
class CameraExtension : public std::enable_shared_from_this<CameraExtension> {
public:
    using QueueFactory = std::function<std::unique_ptr<DispatchQueue>(std::string label)>;

    struct Dependencies {
        /// Where the shared directory may be, most wanted first: the first one that exists is
        /// followed, as the application writes to the first one it can have.
        std::vector<std::filesystem::path> sharedDirectoryCandidates;
        DirectoryWatcher& watcher;
        const ImageDecoder& imageDecoder;
        const CaptureDevices& captureDevices;
        VideoCapture& capture;
        std::vector<FrameSink*> sinks;
        RunLoop& mainQueue;
        Log& log;
        QueueFactory makeSerialQueue;
    };

    /// The safety net under the watcher: the files are read again and a missing directory looked
    /// for this often.
    static constexpr std::chrono::seconds pollInterval{2};
    /// A heartbeat older than this means the application has quit; the last state goes on.
    static constexpr std::chrono::seconds heartbeatTimeout{5};
    /// How long the physical camera stays open after the last watcher has left, so that a
    /// consumer that reconnects at once finds it running.
    static constexpr std::chrono::seconds cameraLinger{3};
    /// A camera that sends nothing for this long is taken for gone: black, and opened anew.
    static constexpr std::chrono::seconds cameraSilence{2};
    /// The first picture may take longer: some cameras settle their exposure first.
    static constexpr std::chrono::seconds cameraStartLimit{5};

    static constexpr std::string_view imageQueueLabel = "com.orsk.moritane.cameraextension.images";
    static constexpr std::string_view captureQueueLabel = "com.orsk.moritane.cameraextension.capture";

    /// What the shared directory asks to be shown, as far as it matters for the picture.
    struct Source {
        Constants::CameraMode mode = Constants::CameraMode::off;
        /// Camera mode: the chosen camera; none means the first one there is.
        std::optional<std::string> cameraId;
        /// Image mode: the file of the chosen entry, if the library has it.
        std::optional<std::filesystem::path> imageFile;
        /// When and how big the image file was, so that a file replaced in place is read again.
        std::optional<std::chrono::system_clock::time_point> imageModified;
        std::uintmax_t imageSize = 0;

        friend bool operator==(const Source&, const Source&) = default;
    };

    static std::shared_ptr<CameraExtension> create(Dependencies dependencies);

    CameraExtension(const CameraExtension&) = delete;
    CameraExtension& operator=(const CameraExtension&) = delete;
    CameraExtension(CameraExtension&&) = delete;
    CameraExtension& operator=(CameraExtension&&) = delete;
    ~CameraExtension();

    /// Finds and follows the shared directory, shows what it asks for and looks again every
    /// pollInterval.
    void start();
    /// Closes the camera, ends the watch and the timers. The sinks are left to their owner.
    void stop();

    /// The picture the sinks get now.
    [[nodiscard]] Frame currentFrame() const;
    [[nodiscard]] const Source& source() const { return m_source; }
    [[nodiscard]] const std::optional<std::filesystem::path>& sharedDirectory() const { return m_directory; }
    [[nodiscard]] bool isCameraOpen() const;

private:
    explicit CameraExtension(Dependencies dependencies);

    /// One opening of the physical camera, shared with the capture queue, which never holds the
    /// extension itself: whoever ends it stops its session.
    struct CameraRun;

    void poll();
    void findDirectory();
    void changed(const DirectoryWatcher::Change& change);
    void reload();
    [[nodiscard]] Source readSource();
    void show(const Source& source);
    void decodeImage(const std::filesystem::path& file);
    void checkHeartbeat();

    [[nodiscard]] bool isWatched() const;
    void watchedChanged();
    void tick();
    void scheduleTick();
    void updateCamera();
    void openCamera();
    static void configureSession(const std::shared_ptr<CameraRun>& run);
    void commitSession(const CameraRun& run);
    void cameraFailed(const CameraRun& run, const std::string& reason);
    void closeCamera();
    void takeCameraFrame(const CameraRun& run, Frame frame);

    /// Logs `line` unless it is the one logged last for `slot`, so a lasting problem is told once.
    void tellOnce(std::optional<std::string>& slot, std::string line);

    Dependencies m_dependencies;
    std::unique_ptr<DispatchQueue> m_imageQueue;
    std::unique_ptr<DispatchQueue> m_captureQueue;
    const Frame m_black;

    std::optional<std::filesystem::path> m_directory;
    bool m_toldNoDirectory = false;
    bool m_reloadPosted = false;
    Source m_source;
    bool m_shown = false;
    Frame m_still;
    /// Counts image requests; read on the image queue too, so that a superseded one is skipped.
    std::shared_ptr<std::atomic<std::uint64_t>> m_imageGeneration = std::make_shared<std::atomic<std::uint64_t>>(0);

    std::shared_ptr<Timer> m_pollTimer;
    std::shared_ptr<Timer> m_frameTimer;
    std::shared_ptr<Timer> m_lingerTimer;
    /// Frames are due at whole thirtieths of a second from here, so the rate is 30, not 1000 / 33.
    RunLoop::TimePoint m_framesStart{};
    std::int64_t m_framesDue = 0;

    std::shared_ptr<CameraRun> m_camera;
    std::optional<Frame> m_cameraFrame;
    RunLoop::TimePoint m_cameraSeen{};

    std::optional<bool> m_applicationRunning;
    std::optional<std::string> m_stateProblem;
    std::optional<std::string> m_imageProblem;
    std::optional<std::string> m_cameraProblem;
};

}  // namespace moritane
