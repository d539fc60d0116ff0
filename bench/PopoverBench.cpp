// The popover's content from nothing to painted, as at each opening, with an empty library and
// with 50 photos of 12 megapixels whose thumbnails are read at every build; beside it, the same
// number of plain rows of text built and painted bare.
#include "BenchSupport.h"
#include "platform/qt/QtImageDecoder.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/FakeCameraAuthorization.h"
#include "platform/sim/FakeCaptureDevices.h"
#include "platform/sim/FakeSystemExtensionService.h"
#include "platform/sim/FakeVideoCapture.h"
#include "platform/sim/FakeWorkspace.h"
#include "platform/sim/ManualDispatchQueue.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "shell/StatusPopoverView.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QVBoxLayout>

#include <fmt/format.h>

namespace moritane {
namespace {

/// Everything the popover reads, with a library of `photos` copies of one 4000 x 3000 JPEG.
struct Popover {
    explicit Popover(int photos) {
        if (photos > 0) {
            QImage photo(4000, 3000, QImage::Format_RGB32);
            QPainter painter(&photo);
            QLinearGradient gradient(0, 0, 4000, 3000);
            gradient.setColorAt(0, Qt::darkBlue);
            gradient.setColorAt(1, Qt::yellow);
            painter.fillRect(photo.rect(), gradient);
            painter.end();
            const auto first = store.imagesDirectoryURL() / "photo-0.jpg";
            photo.save(QString::fromStdString(first.string()), "JPEG", 90);
            std::vector<SavedImage> library;
            for (int i = 0; i < photos; ++i) {
                const auto name = fmt::format("photo-{}.jpg", i);
                if (i > 0) {
                    std::filesystem::copy_file(first, store.imagesDirectoryURL() / name);
                }
                library.push_back({Uuid::random(), fmt::format("Photo {}", i), name});
            }
            images.get().savedImages = library;
        }
    }

    bench::Scratch root;
    FakeAppGroupContainer container{root.path, root.path / "fixed"};
    SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    bench::DiscardingLog log;
    QtImageDecoder decoder;
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
        SystemExtensionInstaller::create({service, loop, log, localization, root.path});
    std::shared_ptr<CameraPermission> permission = CameraPermission::create(authorization, center);
    std::shared_ptr<PreviewRenderer> preview =
        PreviewRenderer::create({*camera, images, store, capture, decoder, loop, log, queues});
};

void popover(benchmark::State& state) {
    Popover sources(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        StatusPopoverView view{
            {*sources.camera, sources.images.get(), *sources.cameras, *sources.installer, *sources.preview,
             *sources.permission, sources.workspace, sources.localization, sources.store, sources.decoder},
            {[] {}, [] {}, [] {}, false, [] {}}};
        benchmark::DoNotOptimize(view.grab());
    }
}

/// The baseline: as many rows, plain text, in a box of the popover's width.
void plainRows(benchmark::State& state) {
    for (auto _ : state) {
        QWidget box;
        auto* layout = new QVBoxLayout(&box);
        for (int i = 0; i < state.range(0) + 8; ++i) {
            layout->addWidget(new QLabel(QStringLiteral("Photo %1").arg(i)));
        }
        box.setFixedWidth(260);
        benchmark::DoNotOptimize(box.grab());
    }
}

BENCHMARK(plainRows)->Arg(0)->Arg(50)->Unit(benchmark::kMillisecond);
BENCHMARK(popover)->Arg(0)->Arg(50)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace moritane

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
