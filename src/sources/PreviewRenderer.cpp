#include "sources/PreviewRenderer.h"

#include "frames/FrameFit.h"
#include "library/SavedImage.h"

#include <algorithm>

namespace moritane {

using Constants::CameraMode;

std::shared_ptr<PreviewRenderer> PreviewRenderer::create(Dependencies dependencies) {
    std::shared_ptr<PreviewRenderer> renderer(new PreviewRenderer(std::move(dependencies)));
    renderer->subscribe();
    return renderer;
}

PreviewRenderer::PreviewRenderer(Dependencies dependencies)
    : m_dependencies(std::move(dependencies)),
      m_captureQueue(m_dependencies.makeSerialQueue(std::string(captureQueueLabel))) {}

void PreviewRenderer::subscribe() {
    auto& camera = m_dependencies.cameraManager;
    // Told as each mode is assigned, so that the capture queue can drop frames at once.
    m_cancellables.push_back(camera.currentMode.subscribe([this](CameraMode mode) { m_modeSeenByCapture = mode; }));
    m_cancellables.push_back(combineLatest<CameraMode, std::optional<std::string>, std::optional<Uuid>>(
        m_dependencies.mainQueue,
        [weak = weak_from_this()](const CameraMode&, const std::optional<std::string>&, const std::optional<Uuid>&) {
            if (auto renderer = weak.lock(); renderer && renderer->isActive()) {
                renderer->update();
            }
        },
        camera.currentMode, camera.selectedCameraId, camera.selectedImageId));
}

Frame PreviewRenderer::makeBlackFrame() {
    return Frame::black(frameWidth, frameHeight);
}

Frame PreviewRenderer::makeImageFrame(const Frame& image) {
    return fitIntoBlack(image, frameWidth, frameHeight);
}

void PreviewRenderer::update() {
    const auto& camera = m_dependencies.cameraManager;
    const auto mode = camera.currentMode.value();
    const auto cameraId = camera.selectedCameraId.value();
    const auto imageId = camera.selectedImageId.value();
    switch (mode) {
    case CameraMode::off:
        stopAndDropSession();
        currentFrame = makeBlackFrame();
        break;
    case CameraMode::camera:
        if (!m_captureSession || cameraId != m_lastConfiguredCameraId) {
            setupCamera(cameraId);
        }
        break;
    case CameraMode::image:
        stopAndDropSession();
        showImage(imageId);
        break;
    }
    m_lastConfiguredMode = mode;
    m_lastConfiguredCameraId = cameraId;
    m_lastConfiguredImageId = imageId;
}

void PreviewRenderer::showImage(const std::optional<Uuid>& imageId) {
    if (!imageId) {
        currentFrame = makeBlackFrame();
        return;
    }
    const auto& images = m_dependencies.imageManager.get().savedImages.value();
    const auto entry =
        std::find_if(images.begin(), images.end(), [&](const SavedImage& image) { return image.id == *imageId; });
    if (entry == images.end()) {
        currentFrame = makeBlackFrame();
        return;
    }
    const auto file = imageFileURL(m_dependencies.store.imagesDirectoryURL(), *entry);
    const auto image = file ? m_dependencies.imageDecoder.decode(*file) : std::nullopt;
    currentFrame = image ? makeImageFrame(*image) : makeBlackFrame();
}

void PreviewRenderer::stopAndDropSession() {
    if (m_captureSession) {
        m_captureSession->stopRunning();
    }
    m_captureSession.reset();
}

void PreviewRenderer::setupCamera(const std::optional<std::string>& cameraId) {
    stopAndDropSession();
    const auto device = cameraId ? m_dependencies.capture.deviceWithUniqueID(*cameraId) : std::nullopt;
    // Never our own virtual camera, and no other camera in place of the chosen one.
    if (!device || device->localizedName == virtualCameraName) {
        currentFrame = makeBlackFrame();
        return;
    }
    m_captureQueue->async([weak = weak_from_this(), id = *cameraId] { configureSession(weak, id); });
}

void PreviewRenderer::configureSession(const std::weak_ptr<PreviewRenderer>& weak, const std::string& cameraId) {
    const auto renderer = weak.lock();
    if (!renderer) {
        return;
    }
    auto& dependencies = renderer->m_dependencies;
    std::shared_ptr<CaptureSession> session = dependencies.capture.makeSession(VideoCapture::preset1280x720);
    if (const auto error = session->makeInput(cameraId)) {
        dependencies.log.write("PreviewRenderer: failed to setup camera: " + error->description);
        return;
    }
    if (!session->canAddInput()) {
        return;
    }
    session->addInput();
    session->makeOutput(*renderer->m_captureQueue, [weak](const Frame& frame) {
        if (auto alive = weak.lock()) {
            alive->captureOutput(frame);
        }
    });
    if (!session->canAddOutput()) {
        return;
    }
    session->addOutput();
    session->startRunning();
    dependencies.mainQueue.post([renderer, cameraId, session = std::move(session)]() mutable {
        renderer->commitSession(cameraId, std::move(session));
    });
}

void PreviewRenderer::commitSession(const std::string& cameraId, std::shared_ptr<CaptureSession> session) {
    const auto& camera = m_dependencies.cameraManager;
    if (isActive() && camera.currentMode.value() == CameraMode::camera && camera.selectedCameraId.value() == cameraId) {
        // A session adopted earlier whose start overlapped this one's is replaced, and stops as it goes.
        m_captureSession = std::move(session);
        return;
    }
    session->stopRunning();
}

void PreviewRenderer::captureOutput(const Frame& frame) {
    if (!isActive() || m_modeSeenByCapture.load() != CameraMode::camera) {
        return;
    }
    if (frame.empty()) {
        return;
    }
    m_dependencies.mainQueue.post([weak = weak_from_this(), fitted = makeImageFrame(frame)] {
        if (auto renderer = weak.lock()) {
            renderer->publishFrame(fitted);
        }
    });
}

void PreviewRenderer::publishFrame(Frame frame) {
    if (isActive() && m_dependencies.cameraManager.currentMode.value() == CameraMode::camera) {
        currentFrame = std::move(frame);
    }
}

void PreviewRenderer::stop() {
    if (!isActive()) {
        return;
    }
    m_isActive = false;
    stopAndDropSession();
    currentFrame = std::nullopt;
    m_lastConfiguredMode = CameraMode::off;
    m_lastConfiguredCameraId.reset();
    m_lastConfiguredImageId.reset();
}

}  // namespace moritane
