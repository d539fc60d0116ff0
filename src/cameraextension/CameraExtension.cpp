#include "cameraextension/CameraExtension.h"

#include "cameraextension/SharedStateReader.h"
#include "frames/FrameFit.h"
#include "support/Files.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <algorithm>
#include <mutex>
#include <system_error>

namespace moritane {

using Constants::CameraMode;
using namespace std::chrono_literals;

namespace {

Frame fitted(const Frame& picture) {
    return fitIntoBlack(picture, FrameSink::frameWidth, FrameSink::frameHeight);
}

}  // namespace

struct CameraExtension::CameraRun {
    CameraRun(std::weak_ptr<CameraExtension> owner, std::optional<std::string> id, const CaptureDevices& cameras,
              VideoCapture& videoCapture, RunLoop& main, DispatchQueue& captureQueue)
        : extension(std::move(owner)),
          cameraId(std::move(id)),
          devices(cameras),
          capture(videoCapture),
          mainQueue(main),
          queue(captureQueue) {}

    std::weak_ptr<CameraExtension> extension;
    std::optional<std::string> cameraId;
    // What the capture queue uses; all of it outlives the queue, whose end waits for its work.
    const CaptureDevices& devices;
    VideoCapture& capture;
    RunLoop& mainQueue;
    DispatchQueue& queue;

    std::mutex mutex;
    bool ended = false;
    std::shared_ptr<CaptureSession> session;

    // Main thread only.
    bool running = false;
    std::string name;

    /// Stops the session, now or as soon as the queue has made it. Any thread.
    void end() {
        const std::scoped_lock lock(mutex);
        ended = true;
        if (session) {
            session->stopRunning();
        }
    }
};

std::shared_ptr<CameraExtension> CameraExtension::create(Dependencies dependencies) {
    return std::shared_ptr<CameraExtension>(new CameraExtension(std::move(dependencies)));
}

CameraExtension::CameraExtension(Dependencies dependencies)
    : m_dependencies(std::move(dependencies)),
      m_imageQueue(m_dependencies.makeSerialQueue(std::string(imageQueueLabel))),
      m_captureQueue(m_dependencies.makeSerialQueue(std::string(captureQueueLabel))),
      m_black(Frame::black(FrameSink::frameWidth, FrameSink::frameHeight)),
      m_still(m_black) {}

CameraExtension::~CameraExtension() {
    if (m_camera) {
        m_camera->end();
    }
}

bool CameraExtension::isCameraOpen() const {
    return m_camera && m_camera->running;
}

void CameraExtension::start() {
    for (auto* sink : m_dependencies.sinks) {
        sink->setWatchedChanged([weak = weak_from_this()] {
            if (auto extension = weak.lock()) {
                extension->watchedChanged();
            }
        });
    }
    findDirectory();
    reload();
    checkHeartbeat();
    m_pollTimer =
        m_dependencies.mainQueue.scheduleTimer(pollInterval, true, TimerModes::common, [weak = weak_from_this()] {
            if (auto extension = weak.lock()) {
                extension->poll();
            }
        });
    watchedChanged();
}

void CameraExtension::stop() {
    for (auto* timer : {&m_pollTimer, &m_frameTimer}) {
        if (*timer) {
            (*timer)->invalidate();
            timer->reset();
        }
    }
    for (auto* sink : m_dependencies.sinks) {
        sink->setWatchedChanged(nullptr);
    }
    m_dependencies.watcher.cancel();
    closeCamera();
}

void CameraExtension::poll() {
    findDirectory();
    reload();
    checkHeartbeat();
    if (isCameraOpen() && isWatched() &&
        m_dependencies.mainQueue.now() - m_cameraSeen > (m_cameraFrame ? cameraSilence : cameraStartLimit)) {
        tellOnce(m_cameraProblem,
                 fmt::format("CameraExtension: camera {} sends nothing; opening it again", m_camera->name));
        closeCamera();
    }
    // Also tries again to open a camera that could not be had.
    updateCamera();
}

void CameraExtension::findDirectory() {
    const auto& candidates = m_dependencies.sharedDirectoryCandidates;
    const auto found = std::find_if(candidates.begin(), candidates.end(), [](const auto& candidate) {
        std::error_code error;
        return std::filesystem::is_directory(candidate, error);
    });
    if (found == candidates.end()) {
        if (m_directory) {
            m_dependencies.log.write(fmt::format("CameraExtension: the shared directory {} went away", *m_directory));
            m_dependencies.watcher.cancel();
            m_directory.reset();
        }
        if (!m_toldNoDirectory && !candidates.empty()) {
            m_toldNoDirectory = true;
            m_dependencies.log.write(fmt::format(
                "CameraExtension: no shared directory at {}; showing black until there is one", candidates.front()));
        }
        return;
    }
    // The application may make the directory it prefers after the one this started with.
    if (m_directory == *found) {
        return;
    }
    m_directory = *found;
    m_toldNoDirectory = false;
    if (const auto failure = m_dependencies.watcher.watch(*found, [weak = weak_from_this()](const auto& change) {
            if (auto extension = weak.lock()) {
                extension->changed(change);
            }
        })) {
        m_dependencies.log.write(fmt::format("CameraExtension: cannot follow {} ({}); reading it every {} s", *found,
                                             failure->description, pollInterval.count()));
    } else {
        m_dependencies.log.write(fmt::format("CameraExtension: following {}", *found));
    }
}

void CameraExtension::changed(const DirectoryWatcher::Change& change) {
    using Place = DirectoryWatcher::Change::Place;
    if (change.place == Place::directoryGone) {
        findDirectory();
    } else if (change.place == Place::directory && change.name == Constants::heartbeatFileName) {
        checkHeartbeat();
        return;
    }
    // A replacement comes as several events: one reading serves them all.
    if (!m_reloadPosted) {
        m_reloadPosted = true;
        m_dependencies.mainQueue.post([weak = weak_from_this()] {
            if (auto extension = weak.lock()) {
                extension->reload();
            }
        });
    }
}

void CameraExtension::reload() {
    m_reloadPosted = false;
    show(readSource());
}

CameraExtension::Source CameraExtension::readSource() {
    if (!m_directory) {
        return Source{};
    }
    const auto output = SharedStateReader(*m_directory).output();
    // Only an unreadable state comes as off with a problem; any other problem is the image's.
    const bool stateUnreadable = output.problem && output.mode == CameraMode::off;
    if (!stateUnreadable) {
        m_stateProblem.reset();
    }
    if (output.problem) {
        tellOnce(stateUnreadable ? m_stateProblem : m_imageProblem,
                 fmt::format("CameraExtension: {}; showing black", *output.problem));
    }
    Source source{output.mode, output.cameraId, output.imageFile, std::nullopt, 0};
    if (source.imageFile) {
        std::error_code error;
        const auto size = std::filesystem::file_size(*source.imageFile, error);
        source.imageSize = error ? 0 : size;
        source.imageModified = files::modificationTime(*source.imageFile);
    }
    return source;
}

void CameraExtension::show(const Source& source) {
    if (m_shown && source == m_source) {
        return;
    }
    const bool sameCamera = m_shown && m_source.mode == CameraMode::camera && source.mode == CameraMode::camera &&
                            m_source.cameraId == source.cameraId;
    const bool samePicture = m_shown && m_source.imageFile == source.imageFile && source.mode == m_source.mode;
    m_source = source;
    m_shown = true;
    auto& log = m_dependencies.log;
    switch (source.mode) {
    case CameraMode::off:
        log.write("CameraExtension: showing black");
        ++*m_imageGeneration;
        m_still = m_black;
        closeCamera();
        break;
    case CameraMode::image:
        if (!samePicture) {
            log.write(source.imageFile ? fmt::format("CameraExtension: showing image {}", *source.imageFile)
                                       : std::string("CameraExtension: showing black for want of an image"));
        }
        closeCamera();
        if (source.imageFile) {
            decodeImage(*source.imageFile);
        } else {
            ++*m_imageGeneration;
            m_still = m_black;
        }
        break;
    case CameraMode::camera:
        if (sameCamera) {
            break;
        }
        log.write(source.cameraId ? fmt::format("CameraExtension: showing camera {}", *source.cameraId)
                                  : std::string("CameraExtension: showing the first camera"));
        ++*m_imageGeneration;
        m_still = m_black;
        closeCamera();
        updateCamera();
        break;
    }
}

void CameraExtension::decodeImage(const std::filesystem::path& file) {
    const auto generation = ++*m_imageGeneration;
    // The picture shown before stays until the new one is ready, rather than a flash of black.
    m_imageQueue->async([weak = weak_from_this(), latest = m_imageGeneration, generation, file,
                         decoder = &m_dependencies.imageDecoder, mainQueue = &m_dependencies.mainQueue] {
        if (*latest != generation) {
            return;  // another picture was asked for meanwhile
        }
        // Decoded no larger than the fit needs: a photo's JPEG at a fraction of the cost.
        auto image = decoder->decodeCovering(file, FrameSink::frameHeight);
        std::optional<Frame> picture;
        if (image) {
            picture = fitted(*image);
        }
        mainQueue->post([weak, generation, file, picture = std::move(picture)] {
            const auto extension = weak.lock();
            if (!extension || generation != *extension->m_imageGeneration) {
                return;
            }
            if (picture) {
                extension->m_still = *picture;
                extension->m_imageProblem.reset();
            } else {
                extension->m_still = extension->m_black;
                extension->tellOnce(extension->m_imageProblem,
                                    fmt::format("CameraExtension: cannot decode {}; showing black", file));
            }
        });
    });
}

void CameraExtension::checkHeartbeat() {
    if (!m_directory) {
        return;
    }
    const auto age = SharedStateReader(*m_directory).heartbeatAge(m_dependencies.mainQueue.now());
    const bool running = age && *age <= heartbeatTimeout;
    if (m_applicationRunning == running) {
        return;
    }
    m_applicationRunning = running;
    // Nothing changes but the log: a quit or crashed application must not black out a call.
    m_dependencies.log.write(running ? std::string("CameraExtension: the application is running")
                                     : fmt::format("CameraExtension: the application is not running (no heartbeat for "
                                                   "{} s); going on with its last state",
                                                   heartbeatTimeout.count()));
}

Frame CameraExtension::currentFrame() const {
    if (m_source.mode != CameraMode::camera) {
        return m_still;
    }
    if (m_cameraFrame && m_dependencies.mainQueue.now() - m_cameraSeen <= cameraSilence) {
        return *m_cameraFrame;
    }
    return m_black;
}

bool CameraExtension::isWatched() const {
    return std::any_of(m_dependencies.sinks.begin(), m_dependencies.sinks.end(),
                       [](const FrameSink* sink) { return sink->isWatched(); });
}

void CameraExtension::watchedChanged() {
    if (!m_pollTimer) {
        return;  // stopped
    }
    if (isWatched() && !m_frameTimer) {
        m_framesStart = m_dependencies.mainQueue.now();
        m_framesDue = 0;
        tick();
        scheduleTick();
    } else if (!isWatched() && m_frameTimer) {
        m_frameTimer->invalidate();
        m_frameTimer.reset();
    }
    updateCamera();
}

void CameraExtension::tick() {
    const auto frame = currentFrame();
    for (auto* sink : m_dependencies.sinks) {
        if (sink->isWatched()) {
            sink->send(frame);
        }
    }
}

void CameraExtension::scheduleTick() {
    const auto now = m_dependencies.mainQueue.now();
    auto due = m_framesStart + std::chrono::milliseconds(1000 * ++m_framesDue / FrameSink::framesPerSecond);
    if (due < now) {
        // Fallen behind: a fresh count rather than a burst of frames.
        m_framesStart = now;
        m_framesDue = 0;
        due = now;
    }
    m_frameTimer = m_dependencies.mainQueue.scheduleTimer(
        std::chrono::duration_cast<RunLoop::Duration>(due - now), false, TimerModes::common, [weak = weak_from_this()] {
            if (auto extension = weak.lock(); extension && extension->m_frameTimer) {
                extension->tick();
                extension->scheduleTick();
            }
        });
}

void CameraExtension::updateCamera() {
    if (!m_pollTimer || m_source.mode != CameraMode::camera) {
        closeCamera();
        return;
    }
    if (isWatched()) {
        if (m_lingerTimer) {
            m_lingerTimer->invalidate();
            m_lingerTimer.reset();
        }
        if (!m_camera) {
            openCamera();
        }
        return;
    }
    if (m_camera && !m_lingerTimer) {
        m_lingerTimer =
            m_dependencies.mainQueue.scheduleTimer(cameraLinger, false, TimerModes::common, [weak = weak_from_this()] {
                if (auto extension = weak.lock()) {
                    extension->closeCamera();
                }
            });
    }
}

void CameraExtension::openCamera() {
    auto& dependencies = m_dependencies;
    m_camera = std::make_shared<CameraRun>(weak_from_this(), m_source.cameraId, dependencies.captureDevices,
                                           dependencies.capture, dependencies.mainQueue, *m_captureQueue);
    m_captureQueue->async([run = m_camera] { configureSession(run); });
}

void CameraExtension::configureSession(const std::shared_ptr<CameraRun>& run) {
    const std::weak_ptr<CameraRun> weakRun = run;
    auto& mainQueue = run->mainQueue;
    const auto fail = [&](std::string reason) {
        mainQueue.post([weakRun, reason = std::move(reason)] {
            if (const auto alive = weakRun.lock()) {
                if (auto extension = alive->extension.lock()) {
                    extension->cameraFailed(*alive, reason);
                }
            }
        });
    };
    auto devices = run->devices.discoverDevices(
        {CaptureDeviceType::builtInWideAngleCamera, CaptureDeviceType::external, CaptureDeviceType::externalUnknown,
         CaptureDeviceType::continuityCamera, CaptureDeviceType::deskViewCamera});
    // The virtual camera itself, seen through v4l2loopback, must never become its own source.
    std::erase_if(devices, [](const CaptureDevice& device) { return device.localizedName == virtualCameraName; });
    const auto device = std::find_if(devices.begin(), devices.end(), [&](const CaptureDevice& candidate) {
        return !run->cameraId || candidate.uniqueID == *run->cameraId;
    });
    if (device == devices.end()) {
        fail(run->cameraId ? fmt::format("camera {} is not connected", *run->cameraId)
                           : std::string("no camera is connected"));
        return;
    }
    std::shared_ptr<CaptureSession> session = run->capture.makeSession(VideoCapture::preset1280x720);
    if (const auto error = session->makeInput(device->uniqueID)) {
        fail(fmt::format("cannot open {}: {}", device->localizedName, error->description));
        return;
    }
    if (!session->canAddInput()) {
        fail(fmt::format("cannot use {}", device->localizedName));
        return;
    }
    session->addInput();
    // One picture at a time on its way to the main thread: a busy main thread drops frames rather
    // than piling them up.
    auto posted = std::make_shared<std::atomic<bool>>(false);
    session->makeOutput(run->queue, [weakRun, posted, &mainQueue](const Frame& frame) {
        if (frame.empty() || posted->exchange(true)) {
            return;
        }
        mainQueue.post([weakRun, posted, picture = fitted(frame)] {
            *posted = false;
            if (const auto alive = weakRun.lock()) {
                if (auto extension = alive->extension.lock()) {
                    extension->takeCameraFrame(*alive, picture);
                }
            }
        });
    });
    if (!session->canAddOutput()) {
        fail(fmt::format("cannot take pictures from {}", device->localizedName));
        return;
    }
    session->addOutput();
    {
        const std::scoped_lock lock(run->mutex);
        if (run->ended) {
            return;  // closed meanwhile: the session goes unstarted
        }
        session->startRunning();
        run->session = std::move(session);
    }
    mainQueue.post([weakRun, name = device->localizedName] {
        if (const auto alive = weakRun.lock()) {
            alive->name = name;
            if (auto extension = alive->extension.lock()) {
                extension->commitSession(*alive);
            }
        }
    });
}

void CameraExtension::commitSession(const CameraRun& run) {
    if (&run != m_camera.get()) {
        return;  // ended, and so stopped, meanwhile
    }
    m_camera->running = true;
    m_cameraSeen = m_dependencies.mainQueue.now();
    m_dependencies.log.write(fmt::format("CameraExtension: opened camera {}", run.name));
}

void CameraExtension::cameraFailed(const CameraRun& run, const std::string& reason) {
    if (&run != m_camera.get()) {
        return;
    }
    m_camera.reset();
    tellOnce(m_cameraProblem, fmt::format("CameraExtension: no camera to show: {}; showing black", reason));
}

void CameraExtension::closeCamera() {
    if (m_lingerTimer) {
        m_lingerTimer->invalidate();
        m_lingerTimer.reset();
    }
    m_cameraFrame.reset();
    if (!m_camera) {
        return;
    }
    m_camera->end();
    if (m_camera->running) {
        m_dependencies.log.write(fmt::format("CameraExtension: closed camera {}", m_camera->name));
    }
    m_camera.reset();
}

void CameraExtension::takeCameraFrame(const CameraRun& run, Frame frame) {
    if (&run != m_camera.get()) {
        return;
    }
    m_cameraFrame = std::move(frame);
    m_cameraSeen = m_dependencies.mainQueue.now();
    m_cameraProblem.reset();
}

void CameraExtension::tellOnce(std::optional<std::string>& slot, std::string line) {
    if (slot != line) {
        m_dependencies.log.write(line);
        slot = std::move(line);
    }
}

}  // namespace moritane
