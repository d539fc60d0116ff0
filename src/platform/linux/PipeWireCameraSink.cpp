#include "platform/linux/PipeWireCameraSink.h"

#include "frames/FrameFit.h"
#include "frames/YuvEncoding.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <spa/utils/result.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace moritane {

namespace {

/// What consumers may ask for: the formats WebRTC takes from a camera, in the frame's own size and
/// in the 4:3 size that older programs want. HD video is read as BT.709, SD as BT.601, unless a
/// consumer is told otherwise, so each size is encoded and tagged the way it is read anyway.
struct Offer {
    int width;
    int height;
    pixels::YuvMatrix matrix;
    spa_video_color_matrix tag;
};
constexpr std::array kSizes{
    Offer{FrameSink::frameWidth, FrameSink::frameHeight, pixels::YuvMatrix::bt709, SPA_VIDEO_COLOR_MATRIX_BT709},
    Offer{640, 480, pixels::YuvMatrix::bt601, SPA_VIDEO_COLOR_MATRIX_BT601},
};
constexpr std::array kFormats{SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_I420, SPA_VIDEO_FORMAT_NV12};

constexpr std::uint32_t kBufferCount = 4;

struct StreamFormat {
    spa_video_format format = SPA_VIDEO_FORMAT_UNKNOWN;
    Offer size{};
};

const char* formatName(spa_video_format format) {
    switch (format) {
    case SPA_VIDEO_FORMAT_YUY2:
        return "YUY2";
    case SPA_VIDEO_FORMAT_I420:
        return "I420";
    case SPA_VIDEO_FORMAT_NV12:
        return "NV12";
    default:
        return "?";
    }
}

std::size_t lumaSize(const StreamFormat& format) {
    return static_cast<std::size_t>(format.size.width) * static_cast<std::size_t>(format.size.height);
}

// The planes follow one another in one block without padding, which is how WebRTC's PipeWire
// capturer and GStreamer read a buffer's first data. Every offered side is even.
std::size_t pictureSize(const StreamFormat& format) {
    return format.format == SPA_VIDEO_FORMAT_YUY2 ? lumaSize(format) * 2 : lumaSize(format) * 3 / 2;
}

int firstStride(const StreamFormat& format) {
    return format.format == SPA_VIDEO_FORMAT_YUY2 ? format.size.width * 2 : format.size.width;
}

bool encode(const Frame& frame, const StreamFormat& format, std::vector<std::uint8_t>& bytes) {
    const auto width = format.size.width;
    const auto height = format.size.height;
    const auto picture =
        frame.width() == width && frame.height() == height ? frame : fitIntoBlack(frame, width, height);
    bytes.resize(pictureSize(format));
    const std::span<std::uint8_t> all(bytes);
    const auto luma = lumaSize(format);
    const auto matrix = format.size.matrix;
    switch (format.format) {
    case SPA_VIDEO_FORMAT_YUY2:
        return pixels::toYuy2(picture, matrix, {all, width * 2});
    case SPA_VIDEO_FORMAT_I420:
        return pixels::toI420(picture, matrix, {all.first(luma), width}, {all.subspan(luma, luma / 4), width / 2},
                              {all.subspan(luma + luma / 4), width / 2});
    case SPA_VIDEO_FORMAT_NV12:
        return pixels::toNv12(picture, matrix, {all.first(luma), width}, {all.subspan(luma), width});
    default:
        return false;
    }
}

/// The offer a negotiated format stands for; none when it is none of ours.
std::optional<StreamFormat> offered(const spa_pod* param) {
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    spa_video_info_raw info{};
    if (spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video ||
        mediaSubtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(param, &info) < 0) {
        return std::nullopt;
    }
    const auto* size = std::find_if(kSizes.begin(), kSizes.end(), [&](const Offer& offer) {
        return std::cmp_equal(offer.width, info.size.width) && std::cmp_equal(offer.height, info.size.height);
    });
    if (size == kSizes.end() || std::find(kFormats.begin(), kFormats.end(), info.format) == kFormats.end()) {
        return std::nullopt;
    }
    return StreamFormat{info.format, *size};
}

std::string describe(int result) {
    return spa_strerror(result);
}

}  // namespace

/// One connection to the PipeWire daemon and the stream published on it.
struct PipeWireCameraSink::Connection {
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook coreListener{};
    spa_hook streamListener{};
    std::optional<std::uint32_t> nodeId;
    pw_stream_state state = PW_STREAM_STATE_UNCONNECTED;
    std::optional<StreamFormat> format;
    // The picture last encoded in `format`, and the frame it came from.
    Frame encodedFrom;
    std::vector<std::uint8_t> encoded;
    std::uint64_t sequence = 0;

    static pw_core_events coreEvents() {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.error = [](void* sink, std::uint32_t id, int /*seq*/, int result, const char* message) {
            static_cast<PipeWireCameraSink*>(sink)->onCoreError(id, result, message);
        };
        return events;
    }

    static pw_stream_events streamEvents() {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = [](void* sink, pw_stream_state /*old*/, pw_stream_state current, const char* error) {
            static_cast<PipeWireCameraSink*>(sink)->onStateChanged(current, error);
        };
        events.param_changed = [](void* sink, std::uint32_t id, const spa_pod* param) {
            if (id == SPA_PARAM_Format) {
                static_cast<PipeWireCameraSink*>(sink)->onFormatChanged(param);
            }
        };
        events.process = [](void* sink) { static_cast<PipeWireCameraSink*>(sink)->onProcess(); };
        return events;
    }
};

PipeWireCameraSink::PipeWireCameraSink(RunLoop& runLoop, Log& log, std::string remote)
    : m_runLoop(runLoop), m_log(log), m_remote(std::move(remote)) {
    pw_init(nullptr, nullptr);
    m_loop = pw_loop_new(nullptr);
    // The loop is iterated only from this thread, through dispatch(); entered once for good so
    // that PipeWire runs work for it in place rather than queueing it for a later turn.
    pw_loop_enter(m_loop);
    m_context = pw_context_new(
        m_loop, pw_properties_new(PW_KEY_APP_NAME, "Moritane", PW_KEY_CONFIG_NAME, "client.conf", nullptr), 0);
    connect();
}

PipeWireCameraSink::~PipeWireCameraSink() {
    if (m_retry) {
        m_retry->invalidate();
    }
    dropConnection();
    if (m_context != nullptr) {
        pw_context_destroy(m_context);
    }
    pw_loop_leave(m_loop);
    pw_loop_destroy(m_loop);
}

int PipeWireCameraSink::fd() const {
    return pw_loop_get_fd(m_loop);
}

std::optional<std::uint32_t> PipeWireCameraSink::nodeId() const {
    return m_connection ? m_connection->nodeId : std::nullopt;
}

void PipeWireCameraSink::connect() {
    if (m_context == nullptr) {
        m_log.write("PipeWireCameraSink: PipeWire could not be set up");
        return;
    }
    auto* core = pw_context_connect(
        m_context, m_remote.empty() ? nullptr : pw_properties_new(PW_KEY_REMOTE_NAME, m_remote.c_str(), nullptr), 0);
    if (core == nullptr) {
        const int code = errno;
        if (!m_reportedAbsence) {
            m_log.write(fmt::format("PipeWireCameraSink: cannot reach PipeWire ({}); trying again every {} s",
                                    describe(-code), kRetryInterval.count()));
            m_reportedAbsence = true;
        }
        scheduleRetry();
        return;
    }
    m_reportedAbsence = false;
    if (m_retry) {
        m_retry->invalidate();
        m_retry.reset();
    }
    static const auto kCoreEvents = Connection::coreEvents();
    static const auto kStreamEvents = Connection::streamEvents();
    m_connection = std::make_unique<Connection>();
    m_connection->core = core;

    // The core is its connection's proxy; the macro that says so in C casts the C way.
    pw_proxy_add_object_listener(reinterpret_cast<pw_proxy*>(core), &m_connection->coreListener, &kCoreEvents, this);

    m_connection->stream =
        pw_stream_new(core, "Moritane",
                      pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_TYPE, "Video",
                                        PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
                                        PW_KEY_MEDIA_NAME, "Moritane", PW_KEY_NODE_NAME, "moritane-camera",
                                        PW_KEY_NODE_DESCRIPTION, "Moritane", PW_KEY_NODE_NICK, "Moritane", nullptr));
    if (m_connection->stream == nullptr) {
        m_log.write(fmt::format("PipeWireCameraSink: cannot make the camera's stream ({}); trying again every {} s",
                                describe(-errno), kRetryInterval.count()));
        dropConnection();
        scheduleRetry();
        return;
    }
    pw_stream_add_listener(m_connection->stream, &m_connection->streamListener, &kStreamEvents, this);

    std::array<std::uint8_t, 4096> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    std::vector<const spa_pod*> params;
    for (const auto& size : kSizes) {
        for (const auto format : kFormats) {
            spa_video_info_raw info{};
            info.format = format;
            info.size = spa_rectangle{static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height)};
            info.framerate = spa_fraction{static_cast<std::uint32_t>(framesPerSecond), 1};
            info.color_range = SPA_VIDEO_COLOR_RANGE_16_235;
            info.color_matrix = size.tag;
            params.push_back(spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &info));
        }
    }
    // Driving: a buffer goes out when a frame comes, not when some other clock ticks.
    const int result =
        pw_stream_connect(m_connection->stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                          static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS),
                          params.data(), static_cast<std::uint32_t>(params.size()));
    if (result < 0) {
        m_log.write(fmt::format("PipeWireCameraSink: cannot publish the camera ({}); trying again every {} s",
                                describe(result), kRetryInterval.count()));
        dropConnection();
        scheduleRetry();
    }
}

void PipeWireCameraSink::scheduleRetry() {
    if (m_retry && m_retry->isValid()) {
        return;
    }
    // Invalidated by the destructor, so the action never outlives the sink.
    m_retry = m_runLoop.scheduleTimer(kRetryInterval, true, TimerModes::common, [this] { connect(); });
}

void PipeWireCameraSink::dropConnection() {
    if (!m_connection) {
        return;
    }
    // Unhooked first: tearing down reports states that no longer mean anything.
    spa_hook_remove(&m_connection->coreListener);
    if (m_connection->stream != nullptr) {
        spa_hook_remove(&m_connection->streamListener);
        pw_stream_destroy(m_connection->stream);
    }
    pw_core_disconnect(m_connection->core);
    m_connection.reset();
}

void PipeWireCameraSink::dispatch() {
    const int result = pw_loop_iterate(m_loop, 0);
    if (result < 0 && result != -EINTR) {
        m_log.write(fmt::format("PipeWireCameraSink: PipeWire's loop failed ({})", describe(result)));
    }
    if (!m_dropReason.empty()) {
        // Only here, outside PipeWire's callbacks, may the objects that called them go.
        m_log.write(
            fmt::format("PipeWireCameraSink: {}; trying again every {} s", m_dropReason, kRetryInterval.count()));
        m_dropReason.clear();
        dropConnection();
        setWatched(false);
        scheduleRetry();
    }
}

void PipeWireCameraSink::send(const Frame& frame) {
    m_frame = frame;
    if (m_connection && m_connection->state == PW_STREAM_STATE_STREAMING) {
        pw_stream_trigger_process(m_connection->stream);
    }
}

void PipeWireCameraSink::setWatched(bool watched) {
    if (watched == m_watched) {
        return;
    }
    m_watched = watched;
    if (m_watchedChanged) {
        m_watchedChanged();
    }
}

void PipeWireCameraSink::onCoreError(std::uint32_t id, int result, const char* message) {
    if (id == PW_ID_CORE && result == -EPIPE) {
        if (m_dropReason.empty()) {
            m_dropReason = "lost the connection to PipeWire";
        }
        return;
    }
    m_log.write(fmt::format("PipeWireCameraSink: PipeWire reports an error: {} ({})", message != nullptr ? message : "",
                            describe(result)));
}

void PipeWireCameraSink::onStateChanged(int state, const char* error) {
    auto& connection = *m_connection;
    const auto was = connection.state;
    connection.state = static_cast<pw_stream_state>(state);
    switch (connection.state) {
    case PW_STREAM_STATE_PAUSED:
        if (!connection.nodeId) {
            connection.nodeId = pw_stream_get_node_id(connection.stream);
            m_log.write(fmt::format("PipeWireCameraSink: connected to PipeWire; the camera \"Moritane\" is node {}",
                                    *connection.nodeId));
        }
        if (was == PW_STREAM_STATE_STREAMING) {
            m_log.write("PipeWireCameraSink: no consumer streams any more");
        }
        setWatched(false);
        break;
    case PW_STREAM_STATE_STREAMING:
        if (connection.format) {
            m_log.write(fmt::format("PipeWireCameraSink: a consumer started streaming {} {}x{}",
                                    formatName(connection.format->format), connection.format->size.width,
                                    connection.format->size.height));
        }
        setWatched(true);
        break;
    case PW_STREAM_STATE_ERROR:
        if (m_dropReason.empty()) {
            m_dropReason = fmt::format("the camera's stream failed: {}", error != nullptr ? error : "no reason given");
        }
        setWatched(false);
        break;
    default:
        setWatched(false);
        break;
    }
}

void PipeWireCameraSink::onFormatChanged(const void* param) {
    auto& connection = *m_connection;
    connection.encodedFrom = Frame();
    connection.format.reset();
    if (param == nullptr) {
        return;
    }
    connection.format = offered(static_cast<const spa_pod*>(param));
    if (!connection.format) {
        m_log.write("PipeWireCameraSink: a consumer asked for a format that is not offered");
        pw_stream_set_error(connection.stream, -EINVAL, "format not offered");
        return;
    }
    std::array<std::uint8_t, 1024> storage{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, storage.data(), storage.size());
    std::array params{
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(kBufferCount, 2, 16), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
            SPA_PARAM_BUFFERS_size, SPA_POD_Int(static_cast<int>(pictureSize(*connection.format))),
            SPA_PARAM_BUFFERS_stride, SPA_POD_Int(firstStride(*connection.format)))),
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
            SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(sizeof(spa_meta_header))))),
    };
    pw_stream_update_params(connection.stream, params.data(), static_cast<std::uint32_t>(params.size()));
}

void PipeWireCameraSink::onProcess() {
    auto& connection = *m_connection;
    if (!connection.format || m_frame.empty()) {
        return;
    }
    auto* buffer = pw_stream_dequeue_buffer(connection.stream);
    if (buffer == nullptr) {
        // The consumer still holds every buffer: this frame is skipped.
        return;
    }
    auto& data = buffer->buffer->datas[0];
    if (connection.encodedFrom.data() != m_frame.data()) {
        if (!encode(m_frame, *connection.format, connection.encoded)) {
            connection.encoded.clear();
        }
        connection.encodedFrom = m_frame;
    }
    const auto size = connection.encoded.size();
    const bool fits = data.data != nullptr && size > 0 && size <= data.maxsize;
    if (fits) {
        std::memcpy(data.data, connection.encoded.data(), size);
    }
    data.chunk->offset = 0;
    data.chunk->size = fits ? static_cast<std::uint32_t>(size) : 0;
    data.chunk->stride = firstStride(*connection.format);
    if (auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
        header->flags = 0;
        header->pts = -1;
        header->dts_offset = 0;
        header->seq = connection.sequence++;
    }
    pw_stream_queue_buffer(connection.stream, buffer);
}

}  // namespace moritane
