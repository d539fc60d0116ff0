// How long a change takes to reach a consumer of moritane-camera: replaces state.json in the
// shared directory, alternately black and a white library image, and times the first frame of
// the new picture that a PipeWire consumer receives. Run by scripts/measure-camera.
//
// usage: camera_latency_probe <shared directory> <image id> <trials>

#include "support/Files.h"

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kWidth = 1280;
constexpr int kHeight = 720;

struct Consumer {
    pw_thread_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    /// The luma at the centre of the last frame, and how many frames came.
    std::atomic<int> centre{-1};
    std::atomic<std::uint64_t> frames{0};
};

void process(void* data) {
    auto& consumer = *static_cast<Consumer*>(data);
    auto* buffer = pw_stream_dequeue_buffer(consumer.stream);
    if (buffer == nullptr) {
        return;
    }
    const auto& plane = buffer->buffer->datas[0];
    constexpr std::size_t offset = (std::size_t{kHeight} / 2 * kWidth + kWidth / 2) * 2;
    if (plane.data != nullptr && plane.chunk->size > offset) {
        consumer.centre = static_cast<const std::uint8_t*>(plane.data)[plane.chunk->offset + offset];
        ++consumer.frames;
    }
    pw_stream_queue_buffer(consumer.stream, buffer);
}

/// Waits until the consumer's centre is `bright` or not; false after two seconds.
bool waitFor(const Consumer& consumer, bool bright) {
    const auto deadline = Clock::now() + std::chrono::seconds(2);
    while (Clock::now() < deadline) {
        if (const int luma = consumer.centre; luma >= 0 && (luma > 128) == bright) {
            return true;
        }
        // A measurement, not a test: a millisecond's resolution is plenty for frames 33 ms apart.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 4) {
        std::fputs("usage: camera_latency_probe <shared directory> <image id> <trials>\n", stderr);
        return 2;
    }
    const std::filesystem::path shared = argv[1];
    const std::string imageId = argv[2];
    const int trials = std::stoi(argv[3]);

    pw_init(&argc, &argv);
    Consumer consumer;
    consumer.loop = pw_thread_loop_new("latency", nullptr);
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.process = process;
    pw_thread_loop_lock(consumer.loop);
    consumer.stream = pw_stream_new_simple(
        pw_thread_loop_get_loop(consumer.loop), "latency-probe",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
                          PW_KEY_TARGET_OBJECT, "moritane-camera", nullptr),
        &events, &consumer);
    std::array<std::uint8_t, 512> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    spa_video_info_raw info{};
    info.format = SPA_VIDEO_FORMAT_YUY2;
    info.size = spa_rectangle{kWidth, kHeight};
    info.framerate = spa_fraction{30, 1};
    const spa_pod* format = spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    pw_stream_connect(consumer.stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS), &format,
                      1);
    pw_thread_loop_start(consumer.loop);
    pw_thread_loop_unlock(consumer.loop);

    const auto off = std::string(R"({"mode":"off"})");
    const auto image = R"({"mode":"image","selectedImageId":")" + imageId + R"("})";
    moritane::files::writeFileAtomically(shared / "state.json", off);
    if (!waitFor(consumer, false)) {
        std::fputs("camera_latency_probe: no frames from moritane-camera\n", stderr);
        return 1;
    }
    std::vector<double> latencies;
    for (int trial = 0; trial < trials; ++trial) {
        const bool bright = trial % 2 == 0;
        const auto start = Clock::now();
        moritane::files::writeFileAtomically(shared / "state.json", bright ? image : off);
        if (!waitFor(consumer, bright)) {
            std::fprintf(stderr, "camera_latency_probe: trial %d never showed the new picture\n", trial);
            return 1;
        }
        latencies.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
    }
    std::sort(latencies.begin(), latencies.end());
    const double median = latencies[latencies.size() / 2];
    const double worst = latencies.back();
    std::printf(
        "latency from state.json to the consumer: median %.1f ms (%.1f frames), worst %.1f ms (%.1f frames), "
        "%d changes\n",
        median, median * 30 / 1000, worst, worst * 30 / 1000, trials);
    pw_thread_loop_stop(consumer.loop);
    pw_stream_destroy(consumer.stream);
    pw_thread_loop_destroy(consumer.loop);
    pw_deinit();
    return 0;
}
