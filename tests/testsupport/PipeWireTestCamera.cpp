#include "testsupport/PipeWireTestCamera.h"

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <stdexcept>

namespace moritane::testing {

PipeWireTestCamera::PipeWireTestCamera(const std::filesystem::path& socket, const std::string& devicePath,
                                       std::array<std::uint8_t, 3> yuv)
    : m_yuv(yuv) {
    pw_init(nullptr, nullptr);
    m_loop = pw_thread_loop_new("test-camera", nullptr);
    m_context = pw_context_new(pw_thread_loop_get_loop(m_loop), nullptr, 0);
    m_core = pw_context_connect(m_context, pw_properties_new(PW_KEY_REMOTE_NAME, socket.c_str(), nullptr), 0);
    if (m_core == nullptr) {
        throw std::runtime_error("PipeWire cannot be reached");
    }
    const auto objectPath = "v4l2:" + devicePath;
    m_stream =
        pw_stream_new(m_core, "test camera",
                      pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_TYPE, "Video",
                                        PW_KEY_NODE_DESCRIPTION, "Test Camera", "api.v4l2.path", devicePath.c_str(),
                                        PW_KEY_OBJECT_PATH, objectPath.c_str(), PW_KEY_DEVICE_API, "v4l2", nullptr));
    static const pw_stream_events kEvents = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = [](void* self, pw_stream_state /*old*/, pw_stream_state state, const char* /*error*/) {
            auto& camera = *static_cast<PipeWireTestCamera*>(self);
            camera.m_state = state;
            pw_thread_loop_signal(camera.m_loop, false);
        };
        events.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
            auto& camera = *static_cast<PipeWireTestCamera*>(self);
            spa_video_info_raw info{};
            if (id != SPA_PARAM_Format || param == nullptr || spa_format_video_raw_parse(param, &info) < 0) {
                return;
            }
            camera.m_width = info.size.width;
            camera.m_height = info.size.height;
            std::array<std::uint8_t, 256> storage{};
            spa_pod_builder builder{};
            spa_pod_builder_init(&builder, storage.data(), storage.size());
            const auto* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
                &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_size,
                SPA_POD_Int(static_cast<int>(info.size.width * info.size.height * 2))));
            pw_stream_update_params(camera.m_stream, &buffers, 1);
        };
        events.process = [](void* self) { static_cast<PipeWireTestCamera*>(self)->process(); };
        return events;
    }();
    pw_stream_add_listener(m_stream, &m_listener, &kEvents, this);

    std::array<std::uint8_t, 512> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    spa_rectangle small{320, 180};
    spa_rectangle large{640, 360};
    spa_fraction rate{30, 1};
    const auto* format = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_Id(SPA_VIDEO_FORMAT_YUY2), SPA_FORMAT_VIDEO_size,
        SPA_POD_CHOICE_ENUM_Rectangle(3, &small, &small, &large), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate)));
    pw_stream_connect(m_stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS), &format, 1);
    // A camera's pace: the node drives its graph.
    m_timer = pw_loop_add_timer(
        pw_thread_loop_get_loop(m_loop),
        [](void* self, std::uint64_t /*expirations*/) {
            pw_stream_trigger_process(static_cast<PipeWireTestCamera*>(self)->m_stream);
        },
        this);
    timespec interval{0, 1'000'000'000 / 30};
    pw_loop_update_timer(pw_thread_loop_get_loop(m_loop), m_timer, &interval, &interval, false);

    pw_thread_loop_lock(m_loop);
    pw_thread_loop_start(m_loop);
    while (m_state != PW_STREAM_STATE_PAUSED && m_state != PW_STREAM_STATE_ERROR &&
           pw_thread_loop_timed_wait(m_loop, 5) == 0) {
    }
    const bool published = m_state == PW_STREAM_STATE_PAUSED;
    pw_thread_loop_unlock(m_loop);
    if (!published) {
        throw std::runtime_error("the test camera was not published");
    }
}

PipeWireTestCamera::~PipeWireTestCamera() {
    pw_thread_loop_stop(m_loop);
    pw_loop_destroy_source(pw_thread_loop_get_loop(m_loop), m_timer);
    spa_hook_remove(&m_listener);
    pw_stream_destroy(m_stream);
    pw_core_disconnect(m_core);
    pw_context_destroy(m_context);
    pw_thread_loop_destroy(m_loop);
}

void PipeWireTestCamera::process() {
    auto* buffer = pw_stream_dequeue_buffer(m_stream);
    if (buffer == nullptr) {
        return;
    }
    auto& data = buffer->buffer->datas[0];
    const auto stride = m_width * 2;
    const auto size = stride * m_height;
    if (data.data != nullptr && size <= data.maxsize) {
        auto* bytes = static_cast<std::uint8_t*>(data.data);
        for (std::uint32_t at = 0; at + 3 < size; at += 4) {
            bytes[at] = m_yuv[0];
            bytes[at + 1] = m_yuv[1];
            bytes[at + 2] = m_yuv[0];
            bytes[at + 3] = m_yuv[2];
        }
        data.chunk->offset = 0;
        data.chunk->size = size;
        data.chunk->stride = static_cast<std::int32_t>(stride);
    }
    pw_stream_queue_buffer(m_stream, buffer);
}

}  // namespace moritane::testing
