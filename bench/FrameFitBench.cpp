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

void BM_Fit1280x720Into320x180(benchmark::State& state) {
    fit(state, 1280, 720, 320, 180);
}
BENCHMARK(BM_Fit1280x720Into320x180);

void BM_Memcpy1280x720Source(benchmark::State& state) {
    copy(state, std::size_t{1280} * 720 * 4);
}
BENCHMARK(BM_Memcpy1280x720Source);

void BM_Fit1920x1080Into1280x720(benchmark::State& state) {
    fit(state, 1920, 1080, 1280, 720);
}
BENCHMARK(BM_Fit1920x1080Into1280x720);

void BM_Fit4000x3000Into1280x720(benchmark::State& state) {
    fit(state, 4000, 3000, 1280, 720);
}
BENCHMARK(BM_Fit4000x3000Into1280x720);

void BM_Memcpy1280x720Output(benchmark::State& state) {
    copy(state, std::size_t{1280} * 720 * 4);
}
BENCHMARK(BM_Memcpy1280x720Output);

void BM_Yuyv1280x720ToBgra(benchmark::State& state) {
    const std::vector<std::uint8_t> yuyv(std::size_t{1280} * 720 * 2, 128);
    for (auto _ : state) {
        const auto frame = pixels::fromYuyv({yuyv, 1280 * 2}, 1280, 720);
        benchmark::DoNotOptimize(frame);
    }
}
BENCHMARK(BM_Yuyv1280x720ToBgra);

void BM_Memcpy1280x720Yuyv(benchmark::State& state) {
    copy(state, std::size_t{1280} * 720 * 2);
}
BENCHMARK(BM_Memcpy1280x720Yuyv);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
