// The popover's content from nothing to painted, as at each opening, with an empty library and
// with 50 photos of 12 megapixels whose thumbnails are read at every build; beside it, the same
// number of plain rows of text built and painted bare.
#include "BenchSupport.h"
#include "platform/qt/QtImageDecoder.h"
#include "platform/sim/SimulatedManagers.h"
#include "shell/StatusPopoverView.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QLabel>
#include <QVBoxLayout>

namespace moritane {
namespace {

/// Everything the popover reads, with a library of `photos` copies of one 12-megapixel JPEG.
struct Popover {
    explicit Popover(int photos) { images.get().savedImages = bench::writePhotos(store.imagesDirectoryURL(), photos); }

    bench::Scratch root;
    bench::DiscardingLog log;
    QtImageDecoder decoder;
    SimulatedManagers managers{root.path, decoder, log};
    const SharedStore& store = managers.store;
    SharedInstance<ImageManager>& images = managers.images;
};

void popover(benchmark::State& state) {
    Popover sources(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto& m = sources.managers;
        StatusPopoverView view{{*m.camera, m.images.get(), *m.cameras, *m.installer, *m.preview, *m.permission,
                                m.workspace, m.localization, m.store, sources.decoder},
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
