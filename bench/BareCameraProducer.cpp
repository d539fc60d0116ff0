// The least a camera on PipeWire can cost: a node of the same kind and size as moritane-camera's
// that sends one unchanging YUY2 buffer 30 times a second. scripts/measure-camera sets the daemon
// beside it.

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 720;

struct Producer {
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    std::vector<std::uint8_t> picture = std::vector<std::uint8_t>(std::size_t{kWidth} * kHeight * 2, 128);
};

void process(void* data) {
    auto& producer = *static_cast<Producer*>(data);
    auto* buffer = pw_stream_dequeue_buffer(producer.stream);
    if (buffer == nullptr) {
        return;
    }
    auto& plane = buffer->buffer->datas[0];
    const auto size = static_cast<std::uint32_t>(producer.picture.size());
    if (plane.data != nullptr && plane.maxsize >= size) {
        std::memcpy(plane.data, producer.picture.data(), size);
        plane.chunk->offset = 0;
        plane.chunk->size = size;
        plane.chunk->stride = kWidth * 2;
    }
    pw_stream_queue_buffer(producer.stream, buffer);
}

void formatChanged(void* data, std::uint32_t id, const spa_pod* param) {
    auto& producer = *static_cast<Producer*>(data);
    if (param == nullptr || id != SPA_PARAM_Format) {
        return;
    }
    std::array<std::uint8_t, 256> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    const auto* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_size,
        SPA_POD_Int(kWidth * kHeight * 2), SPA_PARAM_BUFFERS_stride, SPA_POD_Int(kWidth * 2)));
    pw_stream_update_params(producer.stream, &buffers, 1);
}

void tick(void* data, std::uint64_t /*expirations*/) {
    pw_stream_trigger_process(static_cast<Producer*>(data)->stream);
}

void quit(void* data, int /*signal*/) {
    pw_main_loop_quit(static_cast<Producer*>(data)->loop);
}

}  // namespace

int main(int argc, char* argv[]) {
    pw_init(&argc, &argv);
    Producer producer;
    producer.loop = pw_main_loop_new(nullptr);
    auto* loop = pw_main_loop_get_loop(producer.loop);
    pw_loop_add_signal(loop, SIGTERM, quit, &producer);
    pw_loop_add_signal(loop, SIGINT, quit, &producer);
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.process = process;
    events.param_changed = formatChanged;
    producer.stream = pw_stream_new_simple(
        loop, "bare-camera",
        pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                          "Capture", PW_KEY_MEDIA_ROLE, "Camera", PW_KEY_NODE_NAME, "bare-camera",
                          PW_KEY_NODE_DESCRIPTION, "Bare camera", nullptr),
        &events, &producer);

    std::array<std::uint8_t, 512> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    spa_video_info_raw info{};
    info.format = SPA_VIDEO_FORMAT_YUY2;
    info.size = spa_rectangle{kWidth, kHeight};
    info.framerate = spa_fraction{30, 1};
    const spa_pod* format = spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    pw_stream_connect(producer.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS), &format, 1);

    auto* timer = pw_loop_add_timer(loop, tick, &producer);
    timespec first{0, 1};
    timespec interval{0, 1'000'000'000 / 30};
    pw_loop_update_timer(loop, timer, &first, &interval, false);
    pw_main_loop_run(producer.loop);
    pw_stream_destroy(producer.stream);
    pw_main_loop_destroy(producer.loop);
    pw_deinit();
    return 0;
}
