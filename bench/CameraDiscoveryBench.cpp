// One camera discovery over the machine's real /dev against a bare listing of the same
// directory, in the same run: what opening and asking the video nodes adds.
#include "platform/linux/V4l2CaptureDevices.h"

#include <benchmark/benchmark.h>

#include <filesystem>

namespace moritane {
namespace {

const std::vector<std::string_view> kTypes{CaptureDeviceType::builtInWideAngleCamera, CaptureDeviceType::external,
                                           CaptureDeviceType::continuityCamera, CaptureDeviceType::deskViewCamera};

void BM_V4l2DiscoveryPass(benchmark::State& state) {
    const V4l2CaptureDevices devices;
    for (auto _ : state) {
        benchmark::DoNotOptimize(devices.discoverDevices(kTypes).size());
    }
}
BENCHMARK(BM_V4l2DiscoveryPass);

void BM_BareDevListing(benchmark::State& state) {
    for (auto _ : state) {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
            benchmark::DoNotOptimize(entry.path().filename().string());
            ++count;
        }
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(BM_BareDevListing);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
