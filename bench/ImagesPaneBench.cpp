// The images pane redrawn and painted, as at each change of the library, with 50 photos of 12
// megapixels whose thumbnails are read and decoded at every redraw; beside it, one of those photos
// decoded whole, as the pane would without decoding at the size shown.
#include "BenchSupport.h"
#include "platform/qt/QtImageDecoder.h"
#include "platform/sim/SimulatedManagers.h"
#include "shell/ImagesSettingsView.h"

#include <benchmark/benchmark.h>

#include <QApplication>

namespace moritane {
namespace {

struct Pane {
    explicit Pane(int photos) {
        images.savedImages = bench::writePhotos(managers.store.imagesDirectoryURL(), photos);
        view.resize(600, 540);
        view.show();
    }

    bench::Scratch root;
    bench::DiscardingLog log;
    QtImageDecoder decoder;
    SimulatedManagers managers{root.path, decoder, log};
    ImageManager& images = managers.images.get();
    ImagesSettingsView view{
        {images, managers.store, decoder, managers.localization, MORITANE_SOURCE_DIR "/resources/icons", log}};
};

void redraw(benchmark::State& state) {
    Pane pane(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        // The same list: a change like any other to the pane.
        pane.images.savedImages = pane.images.savedImages.value();
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        benchmark::DoNotOptimize(pane.view.grab());
    }
}

/// The baseline: one photo of the library decoded at full size.
void wholePhoto(benchmark::State& state) {
    const bench::Scratch root;
    bench::writePhotos(root.path, 1);
    const QtImageDecoder decoder;
    for (auto _ : state) {
        benchmark::DoNotOptimize(decoder.decode(root.path / "photo-0.jpg"));
    }
}

BENCHMARK(wholePhoto)->Unit(benchmark::kMillisecond);
BENCHMARK(redraw)->Arg(0)->Arg(50)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace moritane
