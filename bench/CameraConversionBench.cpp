// The camera extension's path for one frame of a 1080p YUYV camera: the capture's own conversion to
// BGRA is the baseline, as the preview pays it too; the extension adds the fit to 1280 x 720 and
// the encoding for its consumers. At 30 frames a second, a frame's cost in milliseconds times 3
// is the share of one core in percent.
#include "frames/FrameFit.h"
#include "frames/PixelFormats.h"
#include "frames/YuvEncoding.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace moritane {
namespace {

constexpr int kCameraWidth = 1920;
constexpr int kCameraHeight = 1080;
constexpr int kWidth = 1280;
constexpr int kHeight = 720;

using Bytes = std::vector<std::uint8_t>;

/// A camera picture: smooth gradients with sensor noise in luma, so neither the scaler nor the
/// encoders see flat colour.
Bytes recordedYuyv() {
    Bytes yuyv(std::size_t{kCameraWidth} * 2 * kCameraHeight);
    std::uint32_t noise = 12345;
    for (int y = 0; y < kCameraHeight; ++y) {
        for (int x = 0; x < kCameraWidth; x += 2) {
            std::uint8_t* at = yuyv.data() + (static_cast<std::size_t>(y) * kCameraWidth + x) * 2;
            noise = noise * 1664525U + 1013904223U;
            const int grain = static_cast<int>(noise >> 29U) - 4;
            at[0] = static_cast<std::uint8_t>(16 + (x + y) * 200 / (kCameraWidth + kCameraHeight) + grain + 4);
            at[1] = static_cast<std::uint8_t>(64 + x * 128 / kCameraWidth);
            at[2] = static_cast<std::uint8_t>(at[0] + 1);
            at[3] = static_cast<std::uint8_t>(192 - y * 128 / kCameraHeight);
        }
    }
    return yuyv;
}

Frame captured(const Bytes& yuyv) {
    return pixels::fromYuyv({yuyv, kCameraWidth * 2}, kCameraWidth, kCameraHeight).value();
}

/// The planes of one 1280 x 720 picture in any of the encodings.
struct Planes {
    Bytes yuy2 = Bytes(std::size_t{kWidth} * 2 * kHeight);
    Bytes y = Bytes(std::size_t{kWidth} * kHeight);
    Bytes u = Bytes(std::size_t{kWidth / 2} * (kHeight / 2));
    Bytes v = Bytes(std::size_t{kWidth / 2} * (kHeight / 2));
    Bytes uv = Bytes(std::size_t{kWidth} * (kHeight / 2));
};

enum class Encoding { yuy2, i420, nv12 };

void encode(const Frame& frame, Encoding encoding, pixels::YuvMatrix matrix, Planes& out) {
    bool done = false;
    switch (encoding) {
    case Encoding::yuy2:
        done = pixels::toYuy2(frame, matrix, {out.yuy2, kWidth * 2});
        break;
    case Encoding::i420:
        done = pixels::toI420(frame, matrix, {out.y, kWidth}, {out.u, kWidth / 2}, {out.v, kWidth / 2});
        break;
    case Encoding::nv12:
        done = pixels::toNv12(frame, matrix, {out.y, kWidth}, {out.uv, kWidth});
        break;
    }
    benchmark::DoNotOptimize(done);
    benchmark::ClobberMemory();
}

void BM_CaptureConversionBaseline(benchmark::State& state) {
    const Bytes yuyv = recordedYuyv();
    for (auto _ : state) {
        const Frame frame = captured(yuyv);
        benchmark::DoNotOptimize(frame.data());
    }
}
BENCHMARK(BM_CaptureConversionBaseline)->Unit(benchmark::kMillisecond);

void cameraPath(benchmark::State& state, Encoding encoding) {
    const Bytes yuyv = recordedYuyv();
    Planes planes;
    for (auto _ : state) {
        const Frame fitted = fitIntoBlack(captured(yuyv), kWidth, kHeight);
        encode(fitted, encoding, pixels::YuvMatrix::bt709, planes);
    }
}
BENCHMARK_CAPTURE(cameraPath, to_i420_bt709, Encoding::i420)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cameraPath, to_yuy2_bt709, Encoding::yuy2)->Unit(benchmark::kMillisecond);

/// What the extension adds to the capture alone: the fit and the encoding.
void addedByTheExtension(benchmark::State& state, Encoding encoding) {
    const Frame frame = captured(recordedYuyv());
    Planes planes;
    for (auto _ : state) {
        const Frame fitted = fitIntoBlack(frame, kWidth, kHeight);
        encode(fitted, encoding, pixels::YuvMatrix::bt709, planes);
    }
}
BENCHMARK_CAPTURE(addedByTheExtension, fit_and_i420_bt709, Encoding::i420)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(addedByTheExtension, fit_and_yuy2_bt709, Encoding::yuy2)->Unit(benchmark::kMillisecond);

void encoderAlone(benchmark::State& state, Encoding encoding, pixels::YuvMatrix matrix) {
    const Frame frame = fitIntoBlack(captured(recordedYuyv()), kWidth, kHeight);
    Planes planes;
    for (auto _ : state) {
        encode(frame, encoding, matrix, planes);
    }
}
BENCHMARK_CAPTURE(encoderAlone, yuy2_bt709, Encoding::yuy2, pixels::YuvMatrix::bt709)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encoderAlone, yuy2_bt601, Encoding::yuy2, pixels::YuvMatrix::bt601)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encoderAlone, i420_bt709, Encoding::i420, pixels::YuvMatrix::bt709)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encoderAlone, i420_bt601, Encoding::i420, pixels::YuvMatrix::bt601)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encoderAlone, nv12_bt709, Encoding::nv12, pixels::YuvMatrix::bt709)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encoderAlone, nv12_bt601, Encoding::nv12, pixels::YuvMatrix::bt601)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
