#include "cameraextension/CameraExtension.h"

#include "cameraextension/SharedStateReader.h"
#include "frames/FrameFit.h"
#include "support/Files.h"

#include <fmt/format.h>
#include <fmt/std.h>

#include <algorithm>
#include <system_error>

namespace moritane {

using Constants::CameraMode;
using namespace std::chrono_literals;

namespace {

Frame fitted(const Frame& picture) {
    return fitIntoBlack(picture, FrameSink::frameWidth, FrameSink::frameHeight);
}

}  // namespace

std::shared_ptr<CameraExtension> CameraExtension::create(Dependencies dependencies) {
    return std::shared_ptr<CameraExtension>(new CameraExtension(std::move(dependencies)));
}

CameraExtension::CameraExtension(Dependencies dependencies)
    : m_dependencies(std::move(dependencies)),
      m_imageQueue(m_dependencies.makeSerialQueue(std::string(imageQueueLabel))),
      m_captureQueue(m_dependencies.makeSerialQueue(std::string(captureQueueLabel))),
      m_black(Frame::black(FrameSink::frameWidth, FrameSink::frameHeight)),
      m_still(m_black) {}

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
    if (!m_directory) {
        findDirectory();
    }
    reload();
    checkHeartbeat();
    if (m_session && m_dependencies.mainQueue.now() - m_cameraSeen > cameraSilence) {
        m_dependencies.log.write(
            fmt::format("CameraExtension: camera {} sends nothing; opening it again", m_cameraName));
        closeCamera();
    }
    // Also tries again to open a camera that could not be had.
    updateCamera();
}

void CameraExtension::findDirectory() {
    for (const auto& candidate : m_dependencies.sharedDirectoryCandidates) {
        std::error_code error;
        if (!std::filesystem::is_directory(candidate, error)) {
            continue;
        }
        m_directory = candidate;
        m_toldNoDirectory = false;
        if (const auto failure = m_dependencies.watcher.watch(candidate, [weak = weak_from_this()](const auto& change) {
                if (auto extension = weak.lock()) {
                    extension->changed(change);
                }
            })) {
            m_dependencies.log.write(fmt::format("CameraExtension: cannot follow {} ({}); reading it every {} s",
                                                 candidate, failure->description, pollInterval.count()));
        } else {
            m_dependencies.log.write(fmt::format("CameraExtension: following {}", candidate));
        }
        return;
    }
    if (!m_toldNoDirectory && !m_dependencies.sharedDirectoryCandidates.empty()) {
        m_toldNoDirectory = true;
        m_dependencies.log.write(
            fmt::format("CameraExtension: no shared directory at {}; showing black until there is one",
                        m_dependencies.sharedDirectoryCandidates.front()));
    }
}

void CameraExtension::changed(const DirectoryWatcher::Change& change) {
    using Place = DirectoryWatcher::Change::Place;
    if (change.place == Place::directoryGone) {
        m_dependencies.log.write(fmt::format("CameraExtension: the shared directory {} went away", *m_directory));
        m_directory.reset();
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
    if (output.problem) {
        tellOnce(output.mode == CameraMode::image ? m_imageProblem : m_stateProblem,
                 fmt::format("CameraExtension: {}; showing black", *output.problem));
    } else {
        m_stateProblem.reset();
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
        ++m_imageGeneration;
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
            ++m_imageGeneration;
            m_still = m_black;
        }
        break;
    case CameraMode::camera:
        if (sameCamera) {
            break;
        }
        log.write(source.cameraId ? fmt::format("CameraExtension: showing camera {}", *source.cameraId)
                                  : std::string("CameraExtension: showing the first camera"));
        ++m_imageGeneration;
        m_still = m_black;
        closeCamera();
        updateCamera();
        break;
    }
}

void CameraExtension::decodeImage(const std::filesystem::path& file) {
    const auto generation = ++m_imageGeneration;
    // The picture shown before stays until the new one is ready, rather than a flash of black.
    m_imageQueue->async([weak = weak_from_this(), generation, file, decoder = &m_dependencies.imageDecoder,
                         mainQueue = &m_dependencies.mainQueue] {
        // Decoded no larger than the fit needs: a photo's JPEG at a fraction of the cost.
        auto image = decoder->decodeCovering(file, FrameSink::frameHeight);
        std::optional<Frame> picture;
        if (image) {
            picture = fitted(*image);
        }
        mainQueue->post([weak, generation, file, picture = std::move(picture)] {
            const auto extension = weak.lock();
            if (!extension || generation != extension->m_imageGeneration) {
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
        m_frameTimer =
            m_dependencies.mainQueue.scheduleTimer(std::chrono::milliseconds(1000 / FrameSink::framesPerSecond), true,
                                                   TimerModes::common, [weak = weak_from_this()] {
                                                       if (auto extension = weak.lock()) {
                                                           extension->tick();
                                                       }
                                                   });
        tick();
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
        if (!m_session && !m_cameraOpening) {
            openCamera();
        }
        return;
    }
    if ((m_session || m_cameraOpening) && !m_lingerTimer) {
        m_lingerTimer =
            m_dependencies.mainQueue.scheduleTimer(cameraLinger, false, TimerModes::common, [weak = weak_from_this()] {
                if (auto extension = weak.lock()) {
                    extension->closeCamera();
                }
            });
    }
}

void CameraExtension::openCamera() {
    m_cameraOpening = true;
    m_captureQueue->async([weak = weak_from_this(), generation = ++m_cameraGeneration, id = m_source.cameraId] {
        configureSession(weak, generation, id);
    });
}

void CameraExtension::configureSession(const std::weak_ptr<CameraExtension>& weak, std::uint64_t generation,
                                       const std::optional<std::string>& cameraId) {
    const auto extension = weak.lock();
    if (!extension) {
        return;
    }
    auto& dependencies = extension->m_dependencies;
    const auto fail = [&](std::string reason) {
        dependencies.mainQueue.post([weak, generation, reason = std::move(reason)] {
            if (auto alive = weak.lock()) {
                alive->cameraFailed(generation, reason);
            }
        });
    };
    auto devices = dependencies.captureDevices.discoverDevices(
        {CaptureDeviceType::builtInWideAngleCamera, CaptureDeviceType::external, CaptureDeviceType::externalUnknown,
         CaptureDeviceType::continuityCamera, CaptureDeviceType::deskViewCamera});
    // The virtual camera itself, seen through v4l2loopback, must never become its own source.
    std::erase_if(devices, [](const CaptureDevice& device) { return device.localizedName == virtualCameraName; });
    const auto device = std::find_if(devices.begin(), devices.end(), [&](const CaptureDevice& candidate) {
        return !cameraId || candidate.uniqueID == *cameraId;
    });
    if (device == devices.end()) {
        fail(cameraId ? fmt::format("camera {} is not connected", *cameraId) : std::string("no camera is connected"));
        return;
    }
    std::shared_ptr<CaptureSession> session = dependencies.capture.makeSession(VideoCapture::preset1280x720);
    if (const auto error = session->makeInput(device->uniqueID)) {
        fail(fmt::format("cannot open {}: {}", device->localizedName, error->description));
        return;
    }
    if (!session->canAddInput()) {
        fail(fmt::format("cannot use {}", device->localizedName));
        return;
    }
    session->addInput();
    session->makeOutput(*extension->m_captureQueue,
                        [weak, generation, mainQueue = &dependencies.mainQueue](const Frame& frame) {
                            if (frame.empty() || weak.expired()) {
                                return;
                            }
                            mainQueue->post([weak, generation, picture = fitted(frame)] {
                                if (auto alive = weak.lock()) {
                                    alive->takeCameraFrame(generation, picture);
                                }
                            });
                        });
    if (!session->canAddOutput()) {
        fail(fmt::format("cannot take pictures from {}", device->localizedName));
        return;
    }
    session->addOutput();
    session->startRunning();
    dependencies.mainQueue.post(
        [weak, generation, session = std::move(session), name = device->localizedName]() mutable {
            if (auto alive = weak.lock()) {
                alive->commitSession(generation, std::move(session), name);
            } else {
                session->stopRunning();
            }
        });
}

void CameraExtension::commitSession(std::uint64_t generation, std::shared_ptr<CaptureSession> session,
                                    const std::string& name) {
    if (generation != m_cameraGeneration || !m_cameraOpening) {
        session->stopRunning();
        return;
    }
    m_cameraOpening = false;
    m_session = std::move(session);
    m_cameraName = name;
    // The first picture may take a while; silence counts from here.
    m_cameraSeen = m_dependencies.mainQueue.now();
    m_cameraProblem.reset();
    m_dependencies.log.write(fmt::format("CameraExtension: opened camera {}", name));
}

void CameraExtension::cameraFailed(std::uint64_t generation, const std::string& reason) {
    if (generation != m_cameraGeneration || !m_cameraOpening) {
        return;
    }
    m_cameraOpening = false;
    tellOnce(m_cameraProblem, fmt::format("CameraExtension: no camera to show: {}; showing black", reason));
}

void CameraExtension::closeCamera() {
    if (m_lingerTimer) {
        m_lingerTimer->invalidate();
        m_lingerTimer.reset();
    }
    ++m_cameraGeneration;
    m_cameraOpening = false;
    m_cameraFrame.reset();
    if (m_session) {
        m_session->stopRunning();
        m_session.reset();
        m_dependencies.log.write(fmt::format("CameraExtension: closed camera {}", m_cameraName));
    }
}

void CameraExtension::takeCameraFrame(std::uint64_t generation, Frame frame) {
    if (generation != m_cameraGeneration) {
        return;
    }
    m_cameraFrame = std::move(frame);
    m_cameraSeen = m_dependencies.mainQueue.now();
}

void CameraExtension::tellOnce(std::optional<std::string>& slot, std::string line) {
    if (slot != line) {
        m_dependencies.log.write(line);
        slot = std::move(line);
    }
}

}  // namespace moritane
