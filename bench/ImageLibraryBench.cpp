// The image library's load and save of a large index, each against the JSON library parsing or
// serialising the same bytes, and an import against a plain file copy, in the same run.
#include "BenchSupport.h"
#include "library/ImageManager.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"
#include "support/Files.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace moritane {
namespace {

using bench::DiscardingLog;
using bench::Scratch;

constexpr std::size_t kEntries = 10000;
constexpr std::size_t kImportBytes = 20UL * 1024UL * 1024UL;

/// What the application keeps around an ImageManager, over a scratch shared directory.
struct Library {
    Library() { std::filesystem::create_directories(scratch.path / "shared"); }

    std::shared_ptr<ImageManager> make() { return ImageManager::create({store, camera, loop, log}); }
    [[nodiscard]] std::filesystem::path index() const { return scratch.path / "shared" / "images.json"; }

    Scratch scratch;
    FakeAppGroupContainer container{scratch.path / "shared", scratch.path / "fixed"};
    SharedStore store{container};
    MemoryDefaults defaults;
    ManualRunLoop loop;
    DiscardingLog log;
    SharedInstance<CameraManager> camera{[this] { return CameraManager::create({store, defaults, loop, log}); }};
};

std::string largeIndex() {
    std::vector<SavedImage> images;
    images.reserve(kEntries);
    for (std::size_t entry = 0; entry < kEntries; ++entry) {
        images.push_back({Uuid::random(), fmt::format("Holiday photo {}", entry),
                          Uuid::random().uuidString() + fmt::format("_IMG_{:05}.jpeg", entry)});
    }
    return encodeSavedImages(images).value();
}

void BM_ImageManagerLoad10000(benchmark::State& state) {
    Library library;
    const auto bytes = largeIndex();
    files::writeFileAtomically(library.index(), bytes);
    for (auto _ : state) {
        benchmark::DoNotOptimize(library.make()->savedImages.value().size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_ImageManagerLoad10000)->Unit(benchmark::kMillisecond);

void BM_JsonReadAndParse10000(benchmark::State& state) {
    Library library;
    const auto bytes = largeIndex();
    files::writeFileAtomically(library.index(), bytes);
    for (auto _ : state) {
        const auto read = files::readFile(library.index(), maxImagesIndexBytes);
        benchmark::DoNotOptimize(nlohmann::json::parse(read.value()).size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_JsonReadAndParse10000)->Unit(benchmark::kMillisecond);

void BM_ImageManagerSave10000(benchmark::State& state) {
    Library library;
    files::writeFileAtomically(library.index(), largeIndex());
    const auto manager = library.make();
    for (auto _ : state) {
        manager->saveImages();
    }
}
BENCHMARK(BM_ImageManagerSave10000)->Unit(benchmark::kMillisecond);

void BM_JsonSerialiseAndWrite10000(benchmark::State& state) {
    Library library;
    const auto json = nlohmann::json::parse(largeIndex());
    for (auto _ : state) {
        files::writeFileAtomically(library.index(), json.dump());
    }
}
BENCHMARK(BM_JsonSerialiseAndWrite10000)->Unit(benchmark::kMillisecond);

/// A 20 MB source file that is not under the shared directory.
std::filesystem::path importSource(const Scratch& scratch) {
    std::string bytes(kImportBytes, '\0');
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<char>(index * 2654435761U >> 24U);
    }
    auto path = scratch.path / "large photo.png";
    files::writeFileAtomically(path, bytes);
    return path;
}

void BM_ImageManagerImport20MB(benchmark::State& state) {
    Library library;
    const auto source = importSource(library.scratch);
    const auto manager = library.make();
    for (auto _ : state) {
        manager->addImage(source);
        state.PauseTiming();
        manager->deleteImages({0});
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImportBytes));
}
BENCHMARK(BM_ImageManagerImport20MB)->Unit(benchmark::kMillisecond);

void BM_PlainFileCopy20MB(benchmark::State& state) {
    const Scratch scratch;
    const auto source = importSource(scratch);
    for (auto _ : state) {
        std::filesystem::copy_file(source, scratch.path / "copy.png");
        state.PauseTiming();
        std::filesystem::remove(scratch.path / "copy.png");
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImportBytes));
}
BENCHMARK(BM_PlainFileCopy20MB)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
