#include "platform/linux/PipeWireCaptureSession.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <span>
#include <vector>

namespace moritane {

namespace {

/// An EnumFormat of `pixelFormat` in exactly `size`, or in any size with `size` preferred.
const spa_pod* formatParam(spa_pod_builder& builder, std::uint32_t pixelFormat, spa_rectangle size, bool exact) {
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), 0);
    if (pixelFormat == V4L2_PIX_FMT_MJPEG) {
        spa_pod_builder_add(&builder, SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_mjpg), 0);
    } else {
        const auto* raw =
            std::find_if(kRawVideoFormats.begin(), kRawVideoFormats.end(),
                         [pixelFormat](const RawVideoFormat& known) { return known.v4l2 == pixelFormat; });
        spa_pod_builder_add(&builder, SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
                            SPA_FORMAT_VIDEO_format, SPA_POD_Id(raw->spa), 0);
    }
    if (exact) {
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), 0);
    } else {
        spa_rectangle smallest{1, 1};
        spa_rectangle largest{Frame::kMaxSide, Frame::kMaxSide};
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&size, &smallest, &largest),
                            0);
    }
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

/// The format a negotiated Format parameter stands for in V4L2's terms; none when it is not ours.
std::optional<v4l2_pix_format> negotiated(const spa_pod* param) {
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    if (param == nullptr || spa_format_parse(param, &mediaType, &mediaSubtype) < 0 ||
        mediaType != SPA_MEDIA_TYPE_video) {
        return std::nullopt;
    }
    v4l2_pix_format format{};
    if (spa_video_info_mjpg info{};
        mediaSubtype == SPA_MEDIA_SUBTYPE_mjpg && spa_format_video_mjpg_parse(param, &info) >= 0) {
        format.pixelformat = V4L2_PIX_FMT_MJPEG;
        format.width = info.size.width;
        format.height = info.size.height;
        return format;
    }
    spa_video_info_raw info{};
    if (mediaSubtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(param, &info) < 0) {
        return std::nullopt;
    }
    const auto* raw = std::find_if(kRawVideoFormats.begin(), kRawVideoFormats.end(),
                                   [&info](const RawVideoFormat& known) { return known.spa == info.format; });
    if (raw == kRawVideoFormats.end()) {
        return std::nullopt;
    }
    format.pixelformat = raw->v4l2;
    format.width = info.size.width;
    format.height = info.size.height;
    return format;
}

/// Bytes per row of the first plane when the producer leaves the stride out.
std::uint32_t packedStride(const v4l2_pix_format& format) {
    switch (format.pixelformat) {
    case V4L2_PIX_FMT_YUYV:
        return format.width * 2;
    case V4L2_PIX_FMT_RGB24:
        return format.width * 3;
    case V4L2_PIX_FMT_RGBA32:
        return format.width * 4;
    case V4L2_PIX_FMT_MJPEG:
        return 0;
    default:
        return format.width;
    }
}

}  // namespace

/// What the PipeWire thread shares with the frames it has posted, which may run after the session is gone.
struct PipeWireCaptureSession::Delivery {
    explicit Delivery(FrameHandler frameHandler) : handler(std::move(frameHandler)) {}

    const FrameHandler handler;
    std::atomic<bool> stopped{false};
    std::atomic<bool> inFlight{false};
};

/// One connection to PipeWire and the stream on it, run by a thread loop of its own.
struct PipeWireCaptureSession::Stream {
    Stream(DispatchQueue& frameQueue, std::shared_ptr<Delivery> frameDelivery)
        : queue(frameQueue), delivery(std::move(frameDelivery)) {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    ~Stream() {
        // The thread ends first: nothing of PipeWire's runs while its objects go.
        if (loop != nullptr) {
            pw_thread_loop_stop(loop);
        }
        if (stream != nullptr) {
            spa_hook_remove(&listener);
            pw_stream_destroy(stream);
        }
        if (core != nullptr) {
            pw_core_disconnect(core);
        }
        if (context != nullptr) {
            pw_context_destroy(context);
        }
        if (loop != nullptr) {
            pw_thread_loop_destroy(loop);
        }
    }

    bool start(const std::string& remote, const PipeWireCameraNode& node, V4l2CaptureSession::StreamChoice choice) {
        loop = pw_thread_loop_new("moritane-capture", nullptr);
        if (loop == nullptr) {
            return false;
        }
        context = pw_context_new(pw_thread_loop_get_loop(loop),
                                 pw_properties_new(PW_KEY_CONFIG_NAME, "client.conf", nullptr), 0);
        if (context != nullptr) {
            core = pw_context_connect(
                context, remote.empty() ? nullptr : pw_properties_new(PW_KEY_REMOTE_NAME, remote.c_str(), nullptr), 0);
        }
        if (core == nullptr) {
            return false;
        }
        // Not moved to another camera when this one goes: the session manager ends the stream instead.
        stream = pw_stream_new(
            core, "Moritane camera input",
            pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
                              PW_KEY_NODE_NAME, "moritane-capture", PW_KEY_NODE_DESCRIPTION, "Moritane camera input",
                              PW_KEY_TARGET_OBJECT, node.serial.c_str(), PW_KEY_NODE_DONT_RECONNECT, "true", nullptr));
        if (stream == nullptr) {
            return false;
        }
        static const pw_stream_events kEvents = [] {
            pw_stream_events events{};
            events.version = PW_VERSION_STREAM_EVENTS;
            events.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
                if (id == SPA_PARAM_Format) {
                    static_cast<Stream*>(self)->onFormat(param);
                }
            };
            events.process = [](void* self) { static_cast<Stream*>(self)->onProcess(); };
            return events;
        }();
        pw_stream_add_listener(stream, &listener, &kEvents, this);

        std::array<std::uint8_t, 2048> storage{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, storage.data(), storage.size());
        const spa_rectangle size{static_cast<std::uint32_t>(choice.size.width),
                                 static_cast<std::uint32_t>(choice.size.height)};
        // The choice first, as the camera is set up for it when it starts; then whatever it already
        // sends to another program, since a camera that streams is not set up anew.
        std::vector params{formatParam(builder, choice.pixelFormat, size, true)};
        for (const auto& raw : kRawVideoFormats) {
            params.push_back(formatParam(builder, raw.v4l2, size, false));
        }
        params.push_back(formatParam(builder, V4L2_PIX_FMT_MJPEG, size, false));
        const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS);
        return pw_stream_connect(stream, PW_DIRECTION_INPUT, PW_ID_ANY, flags, params.data(),
                                 static_cast<std::uint32_t>(params.size())) >= 0 &&
               pw_thread_loop_start(loop) >= 0;
    }

    void onFormat(const spa_pod* param) {
        format = negotiated(param);
        if (!format) {
            if (param != nullptr) {
                pw_stream_set_error(stream, -EINVAL, "no format agreed");
            }
            return;
        }
        // Memory we can map: a camera's DMA buffers might not be.
        std::array<std::uint8_t, 256> storage{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, storage.data(), storage.size());
        const auto* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemPtr) | (1 << SPA_DATA_MemFd))));
        pw_stream_update_params(stream, &buffers, 1);
    }

    void onProcess() {
        auto* buffer = pw_stream_dequeue_buffer(stream);
        if (buffer == nullptr) {
            return;
        }
        deliver(*buffer->buffer);
        pw_stream_queue_buffer(stream, buffer);
    }

    void deliver(const spa_buffer& buffer) {
        const auto* header = static_cast<const spa_meta_header*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
        // A frame is converted only when the handler is free to take it. A V4L2 node's buffer
        // holds every plane in its first data, one after the other, as V4L2 gives them.
        if (!format || buffer.n_datas < 1 || buffer.datas[0].data == nullptr || buffer.datas[0].chunk == nullptr ||
            (header != nullptr && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0U) ||
            delivery->inFlight.exchange(true)) {
            return;
        }
        const auto& data = buffer.datas[0];
        const auto offset = std::min(data.chunk->offset, data.maxsize);
        const auto size = std::min(data.chunk->size, data.maxsize - offset);
        auto pixels = *format;
        pixels.bytesperline =
            data.chunk->stride > 0 ? static_cast<std::uint32_t>(data.chunk->stride) : packedStride(pixels);
        auto frame =
            V4l2CaptureSession::frameFromBuffer(pixels, {static_cast<const std::uint8_t*>(data.data) + offset, size});
        if (!frame) {
            delivery->inFlight = false;
            return;
        }
        queue.async([delivery = delivery, frame = std::move(*frame)] {
            if (!delivery->stopped) {
                delivery->handler(frame);
            }
            delivery->inFlight = false;
        });
    }

    DispatchQueue& queue;
    const std::shared_ptr<Delivery> delivery;
    pw_thread_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    // Only on PipeWire's thread once it runs.
    std::optional<v4l2_pix_format> format;
};

PipeWireCaptureSession::PipeWireCaptureSession(V4l2CaptureDevices devices, FrameSize preset, std::string remote)
    : m_devices(std::move(devices)), m_preset(preset), m_remote(std::move(remote)) {}

PipeWireCaptureSession::~PipeWireCaptureSession() {
    stopRunning();
}

std::optional<Error> PipeWireCaptureSession::makeInput(const std::string& uniqueID) {
    const std::lock_guard lock(m_lifecycle);
    release();
    const auto camera = m_devices.locate(uniqueID);
    if (!camera) {
        return Error{"POSIX", ENODEV, fmt::format("no camera with the id \"{}\" is connected", uniqueID)};
    }
    auto node = PipeWireCameraNode::find(camera->path, m_preset, m_remote, kAnswerLimit);
    // Told here rather than by an output that cannot be added, so that libv4l2, which converts
    // more formats, may take the camera instead.
    if (node && !V4l2CaptureSession::chooseStream(node.value().offers, m_preset)) {
        node = Error{"PipeWire", EINVAL, "it offers no format that we convert"};
    }
    if (!node) {
        auto error = node.error();
        error.description = fmt::format("the camera \"{}\" cannot be read through PipeWire: {}",
                                        camera->device.localizedName, error.description);
        return error;
    }
    m_node = std::move(node).value();
    return std::nullopt;
}

bool PipeWireCaptureSession::canAddInput() const {
    return m_node.has_value();
}

void PipeWireCaptureSession::addInput() {
    m_inputAdded = m_node.has_value();
}

void PipeWireCaptureSession::makeOutput(DispatchQueue& queue, FrameHandler handler) {
    m_queue = &queue;
    m_delivery = std::make_shared<Delivery>(std::move(handler));
    m_choice = m_node ? V4l2CaptureSession::chooseStream(m_node->offers, m_preset) : std::nullopt;
}

bool PipeWireCaptureSession::canAddOutput() const {
    return m_delivery && m_choice;
}

void PipeWireCaptureSession::addOutput() {
    m_outputAdded = canAddOutput();
}

void PipeWireCaptureSession::startRunning() {
    const std::lock_guard lock(m_lifecycle);
    if (m_stream || !m_inputAdded || !m_outputAdded) {
        return;
    }
    m_stream = std::make_unique<Stream>(*m_queue, m_delivery);
    if (!m_stream->start(m_remote, *m_node, *m_choice)) {
        release();  // PipeWire went since the node was found: no frames, as with a camera unplugged
    }
}

void PipeWireCaptureSession::stopRunning() {
    const std::lock_guard lock(m_lifecycle);
    release();
}

void PipeWireCaptureSession::release() {
    if (m_delivery) {
        m_delivery->stopped = true;
    }
    m_stream.reset();
    m_node.reset();
    m_inputAdded = false;
}

}  // namespace moritane
