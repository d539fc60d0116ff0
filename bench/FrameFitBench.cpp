// Fitting frames into black and converting camera YUYV, each against a memcpy of the frame whose
// size bounds the work (the source when reading dominates, the output when writing does), so that
// the ratio shows what scaling and conversion cost beyond touching the bytes.
#include "frames/FrameFit.h"
#include "frames/PixelFormats.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace moritane {
namespace {

/// A frame of a smooth gradient, so the scaler works on ordinary picture content.
Frame gradient(int width, int height) {
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(width) * 3 * static_cast<std::size_t>(height));
    for (std::size_t i = 0; i < rgb.size(); ++i) {
        rgb[i] = static_cast<std::uint8_t>(i / 7);
    }
    return pixels::fromRgb24({rgb, width * 3}, width, height).value();
}

void fit(benchmark::State& state, int sourceWidth, int sourceHeight, int width, int height) {
    const Frame source = gradient(sourceWidth, sourceHeight);
    for (auto _ : state) {
        const Frame fitted = fitIntoBlack(source, width, height);
        benchmark::DoNotOptimize(fitted.data());
    }
}

void copy(benchmark::State& state, std::size_t bytes) {
    const std::vector<std::uint8_t> from(bytes, 7);
    std::vector<std::uint8_t> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(fit, 1280x720_into_320x180, 1280, 720, 320, 180);
BENCHMARK_CAPTURE(fit, 1920x1080_into_1280x720, 1920, 1080, 1280, 720);
BENCHMARK_CAPTURE(fit, 4000x3000_into_1280x720, 4000, 3000, 1280, 720);
// The baseline of the fits: a copy of a 1280 x 720 frame, the first fit's source and the others' output.
BENCHMARK_CAPTURE(copy, bgra_1280x720, std::size_t{1280} * 720 * 4);

void BM_Yuyv1280x720ToBgra(benchmark::State& state) {
    const std::vector<std::uint8_t> yuyv(std::size_t{1280} * 720 * 2, 128);
    for (auto _ : state) {
        const auto frame = pixels::fromYuyv({yuyv, 1280 * 2}, 1280, 720);
        benchmark::DoNotOptimize(frame);
    }
}
BENCHMARK(BM_Yuyv1280x720ToBgra);
BENCHMARK_CAPTURE(copy, yuyv_1280x720, std::size_t{1280} * 720 * 2);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
