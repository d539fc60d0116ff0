// Writing state.json and touching the heartbeat, each against the bare system calls that do the
// same to the same bytes, so that the ratio shows what the program adds.
#include "BenchSupport.h"
#include "camera/CameraManager.h"
#include "platform/sim/FakeAppGroupContainer.h"
#include "platform/sim/ManualRunLoop.h"
#include "platform/sim/MemoryDefaults.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>

namespace moritane {
namespace {

using bench::DiscardingLog;
using bench::Scratch;

const std::string kStateBytes =
    R"({"mode":"image","selectedImageId":"6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8","selectedCameraId":"usb-046d:0825"})";

void bareWriteAndRename(const std::filesystem::path& directory, bool flush) {
    const auto temporary = directory / ".state.json.tmp";
    const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    benchmark::DoNotOptimize(::write(file, kStateBytes.data(), kStateBytes.size()));
    if (flush) {
        ::fsync(file);
    }
    ::close(file);
    ::rename(temporary.c_str(), (directory / "state.json").c_str());
}

void BM_CameraManagerWriteState(benchmark::State& state) {
    const Scratch scratch;
    const FakeAppGroupContainer container(scratch.path, scratch.path / "fixed");
    const SharedStore store(container);
    MemoryDefaults defaults;
    ManualRunLoop loop;
    DiscardingLog log;
    const auto manager = CameraManager::create({store, defaults, loop, log});
    manager->selectImage(*Uuid::fromString("6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"));
    manager->selectedCameraId = std::string("usb-046d:0825");
    for (auto _ : state) {
        manager->writeState();
    }
}
BENCHMARK(BM_CameraManagerWriteState);

void BM_BareWriteFlushRename(benchmark::State& state) {
    const Scratch scratch;
    for (auto _ : state) {
        bareWriteAndRename(scratch.path, true);
    }
}
BENCHMARK(BM_BareWriteFlushRename);

void BM_BareWriteRenameWithoutFlush(benchmark::State& state) {
    const Scratch scratch;
    for (auto _ : state) {
        bareWriteAndRename(scratch.path, false);
    }
}
BENCHMARK(BM_BareWriteRenameWithoutFlush);

void BM_SharedStoreRefreshHeartbeat(benchmark::State& state) {
    const Scratch scratch;
    const FakeAppGroupContainer container(scratch.path, scratch.path / "fixed");
    const SharedStore store(container);
    auto now = std::chrono::system_clock::now();
    for (auto _ : state) {
        store.refreshHeartbeat(now);
        now += std::chrono::seconds(1);
    }
}
BENCHMARK(BM_SharedStoreRefreshHeartbeat);

void BM_BareTimeStampUpdate(benchmark::State& state) {
    const Scratch scratch;
    const auto path = scratch.path / "heartbeat";
    ::close(::open(path.c_str(), O_WRONLY | O_CREAT, 0666));
    timespec when{1800000000, 0};
    for (auto _ : state) {
        const std::array<timespec, 2> times{{{0, UTIME_OMIT}, when}};
        benchmark::DoNotOptimize(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
        ++when.tv_sec;
    }
}
BENCHMARK(BM_BareTimeStampUpdate);

}  // namespace
}  // namespace moritane

BENCHMARK_MAIN();
