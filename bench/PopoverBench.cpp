// The popover's content from nothing to painted, as at each opening, with an empty library and
// with 50 photos of 12 megapixels whose thumbnails are read at every build; beside it, the same
// number of plain rows of text built and painted bare.
#include "BenchSupport.h"
#include "platform/qt/QtImageDecoder.h"
#include "platform/sim/SimulatedManagers.h"
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

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
