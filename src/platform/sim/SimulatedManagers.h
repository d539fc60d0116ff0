#pragma once

#include "camera/CameraManager.h"
#include "extension/SystemExtensionInstaller.h"
#include "library/ImageManager.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/FakeCaptureDevices.h"
#include "platform/sim/FakeSystemExtensionService.h"
#include "platform/sim/FakeVideoCapture.h"
#include "platform/sim/FakeWorkspace.h"
#include "platform/sim/ManualDispatchQueue.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "sources/CameraDeviceManager.h"
#include "sources/CameraPermission.h"
#include "sources/PreviewRenderer.h"

#include <filesystem>
#include <memory>

namespace moritane {

/// Every manager that the windows read, made on fakes in virtual time over a shared directory in
/// `root`, for tests and benchmarks of what is on screen. Texts read as their keys.
struct SimulatedManagers {
    SimulatedManagers(std::filesystem::path directory, const ImageDecoder& imageDecoder, Log& logTo)
        : root(std::move(directory)), decoder(imageDecoder), log(logTo) {}

    std::filesystem::path root;
    FakeAppGroupContainer container{root, root / "fixed"};
    const ImageDecoder& decoder;
    Log& log;
    SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    FakeVideoCapture capture;
    FakeCaptureDevices devices;
    NotificationCenter center;
    FakeCameraAuthorization authorization;
    FakeSystemExtensionService service{loop};
    FakeWorkspace workspace;
    const Localization localization{{}, {"en"}};
    std::shared_ptr<CameraManager> camera = CameraManager::create({store, defaults, loop, log});
    SharedInstance<CameraManager> cameraInstance{[this] { return camera; }};
    SharedInstance<ImageManager> images{[this] { return ImageManager::create({store, cameraInstance, loop, log}); }};
    const CameraDeviceManager::QueueFactory queues = [](std::string label) {
        return std::make_unique<ManualDispatchQueue>(std::move(label));
    };
    std::shared_ptr<CameraDeviceManager> cameras = CameraDeviceManager::create({devices, center, loop, queues});
    std::shared_ptr<SystemExtensionInstaller> installer =
        SystemExtensionInstaller::create({service, loop, log, localization, root});
    std::shared_ptr<CameraPermission> permission = CameraPermission::create(authorization, center);
    std::shared_ptr<PreviewRenderer> preview =
        PreviewRenderer::create({*camera, images, store, capture, decoder, loop, log, queues});
};

}  // namespace moritane
