#include "platform/linux/PipeWireCameraNode.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <spa/utils/result.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>
#include <utility>

namespace moritane {

namespace {

using FormatOffer = V4l2CaptureSession::FormatOffer;

/// The values a property of `param` may take, the default first when it is a choice, and the
/// kind of choice; nothing when it is absent or not of `type`.
template <typename T>
std::pair<std::vector<T>, std::uint32_t> valuesOf(const spa_pod& param, std::uint32_t key, std::uint32_t type) {
    const auto* prop = spa_pod_find_prop(&param, nullptr, key);
    if (prop == nullptr) {
        return {};
    }
    std::uint32_t count = 0;
    std::uint32_t choice = SPA_CHOICE_None;
    const auto* values = spa_pod_get_values(&prop->value, &count, &choice);
    if (values->type != type || values->size < sizeof(T)) {
        return {};
    }
    const auto* first = static_cast<const T*>(SPA_POD_BODY_CONST(values));
    // An enumeration's default comes again among its values.
    const std::uint32_t skipped = choice == SPA_CHOICE_Enum && count > 1 ? 1 : 0;
    return {std::vector<T>(first + skipped, first + count), choice};
}

int within(int wanted, std::uint32_t low, std::uint32_t high, std::uint32_t step) {
    const auto clamped = std::clamp(static_cast<std::uint32_t>(std::max(wanted, 1)), low, std::max(low, high));
    return static_cast<int>(low +
                            (clamped - low) / std::max<std::uint32_t>(step, 1) * std::max<std::uint32_t>(step, 1));
}

std::string describe(int result) {
    return spa_strerror(result);
}

// PipeWire's method macros cast their object the C way.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
int sync(pw_core* core, int seq) {
    return pw_core_sync(core, PW_ID_CORE, seq);
}

void enumerateFormats(pw_port* port) {
    pw_port_enum_params(port, 0, SPA_PARAM_EnumFormat, 0, UINT32_MAX, nullptr);
}
#pragma GCC diagnostic pop

pw_proxy* proxy(void* object) {
    return static_cast<pw_proxy*>(object);
}

/// One listing of PipeWire's objects, driven on the caller's thread.
class Listing {
public:
    Listing(std::filesystem::path path, FrameSize preset) : m_path(std::move(path)), m_preset(preset) {}
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    ~Listing() {
        if (m_port != nullptr) {
            spa_hook_remove(&m_portListener);
            pw_proxy_destroy(proxy(m_port));
        }
        if (m_registry != nullptr) {
            spa_hook_remove(&m_registryListener);
            pw_proxy_destroy(proxy(m_registry));
        }
        if (m_core != nullptr) {
            spa_hook_remove(&m_coreListener);
            pw_core_disconnect(m_core);
        }
        if (m_context != nullptr) {
            pw_context_destroy(m_context);
        }
        if (m_loop != nullptr) {
            pw_loop_leave(m_loop);
            pw_loop_destroy(m_loop);
        }
    }

    Result<PipeWireCameraNode> run(const std::string& remote, std::chrono::milliseconds limit) {
        static std::once_flag initialised;
        std::call_once(initialised, [] { pw_init(nullptr, nullptr); });
        m_loop = pw_loop_new(nullptr);
        if (m_loop == nullptr) {
            return Error{"PipeWire", errno, fmt::format("PipeWire could not be set up ({})", describe(-errno))};
        }
        pw_loop_enter(m_loop);
        m_context = pw_context_new(m_loop, pw_properties_new(PW_KEY_CONFIG_NAME, "client.conf", nullptr), 0);
        if (m_context != nullptr) {
            m_core = pw_context_connect(
                m_context, remote.empty() ? nullptr : pw_properties_new(PW_KEY_REMOTE_NAME, remote.c_str(), nullptr),
                0);
        }
        if (m_core == nullptr) {
            const int code = errno;
            return Error{"PipeWire", code, fmt::format("PipeWire cannot be reached ({})", describe(-code))};
        }
        static const pw_core_events kCoreEvents = [] {
            pw_core_events events{};
            events.version = PW_VERSION_CORE_EVENTS;
            events.done = [](void* listing, std::uint32_t id, int seq) {
                static_cast<Listing*>(listing)->onDone(id, seq);
            };
            events.error = [](void* listing, std::uint32_t id, int /*seq*/, int result, const char* message) {
                static_cast<Listing*>(listing)->onError(id, result, message);
            };
            return events;
        }();
        static const pw_registry_events kRegistryEvents = [] {
            pw_registry_events events{};
            events.version = PW_VERSION_REGISTRY_EVENTS;
            events.global = [](void* listing, std::uint32_t id, std::uint32_t /*permissions*/, const char* type,
                               std::uint32_t /*version*/,
                               const spa_dict* props) { static_cast<Listing*>(listing)->onGlobal(id, type, props); };
            return events;
        }();
        pw_proxy_add_object_listener(proxy(m_core), &m_coreListener, &kCoreEvents, this);
        m_registry = pw_core_get_registry(m_core, PW_VERSION_REGISTRY, 0);
        pw_proxy_add_object_listener(proxy(m_registry), &m_registryListener, &kRegistryEvents, this);
        m_pending = sync(m_core, 0);

        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!m_result) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return Error{"PipeWire", ETIMEDOUT, fmt::format("PipeWire did not answer within {} ms", limit.count())};
            }
            const int result = pw_loop_iterate(m_loop, static_cast<int>(left.count()));
            if (result < 0 && result != -EINTR) {
                return Error{"PipeWire", -result, fmt::format("PipeWire's loop failed ({})", describe(result))};
            }
        }
        return std::move(*m_result);
    }

private:
    void onGlobal(std::uint32_t id, const char* type, const spa_dict* props) {
        const auto property = [props](const char* key) {
            const char* value = props != nullptr ? spa_dict_lookup(props, key) : nullptr;
            return std::string(value != nullptr ? value : "");
        };
        const std::string kind = type != nullptr ? type : "";
        if (kind == PW_TYPE_INTERFACE_Port && property(PW_KEY_PORT_DIRECTION) == "out") {
            m_outputs.emplace_back(id, property(PW_KEY_NODE_ID));
        } else if (kind == PW_TYPE_INTERFACE_Node && property(PW_KEY_MEDIA_CLASS) == "Video/Source" &&
                   (property("api.v4l2.path") == m_path.string() ||
                    property(PW_KEY_OBJECT_PATH) == "v4l2:" + m_path.string())) {
            m_node = PipeWireCameraNode{id, property(PW_KEY_OBJECT_SERIAL), property(PW_KEY_NODE_DESCRIPTION), {}};
        }
    }

    void onDone(std::uint32_t id, int seq) {
        if (id != PW_ID_CORE || seq != m_pending || m_result) {
            return;
        }
        if (!m_node) {
            m_result = Error{"PipeWire", ENOENT, fmt::format("PipeWire has no camera for {}", m_path.string())};
            return;
        }
        const auto output = std::find_if(m_outputs.begin(), m_outputs.end(), [this](const auto& port) {
            return port.second == std::to_string(m_node->id);
        });
        if (m_port != nullptr || output == m_outputs.end()) {
            m_result = std::move(*m_node);
            return;
        }
        // A V4L2 node tells its formats only on its port.
        static const pw_port_events kPortEvents = [] {
            pw_port_events events{};
            events.version = PW_VERSION_PORT_EVENTS;
            events.param = [](void* listing, int /*seq*/, std::uint32_t kind, std::uint32_t /*index*/,
                              std::uint32_t /*next*/, const spa_pod* param) {
                auto& self = *static_cast<Listing*>(listing);
                if (kind == SPA_PARAM_EnumFormat && param != nullptr && self.m_node) {
                    auto offers = PipeWireCameraNode::offersOf(*param, self.m_preset);
                    self.m_node->offers.insert(self.m_node->offers.end(), offers.begin(), offers.end());
                }
            };
            return events;
        }();
        m_port = static_cast<pw_port*>(
            pw_registry_bind(m_registry, output->first, PW_TYPE_INTERFACE_Port, PW_VERSION_PORT, 0));
        pw_proxy_add_object_listener(proxy(m_port), &m_portListener, &kPortEvents, this);
        enumerateFormats(m_port);
        m_pending = sync(m_core, m_pending);
    }

    void onError(std::uint32_t id, int result, const char* message) {
        if (id == PW_ID_CORE && !m_result) {
            m_result =
                Error{"PipeWire", -result,
                      fmt::format("PipeWire failed: {} ({})", message != nullptr ? message : "", describe(result))};
        }
    }

    const std::filesystem::path m_path;
    const FrameSize m_preset;
    pw_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_registry* m_registry = nullptr;
    pw_port* m_port = nullptr;
    spa_hook m_coreListener{};
    spa_hook m_registryListener{};
    spa_hook m_portListener{};
    int m_pending = 0;
    // Output ports and the ids of their nodes, as the registry tells them.
    std::vector<std::pair<std::uint32_t, std::string>> m_outputs;
    std::optional<PipeWireCameraNode> m_node;
    std::optional<Result<PipeWireCameraNode>> m_result;
};

}  // namespace

std::vector<FormatOffer> PipeWireCameraNode::offersOf(const spa_pod& param, FrameSize preset) {
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    if (spa_format_parse(&param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video) {
        return {};
    }
    std::vector<FormatOffer> offers;
    if (mediaSubtype == SPA_MEDIA_SUBTYPE_mjpg) {
        offers.push_back({V4L2_PIX_FMT_MJPEG, false, {}});
    } else if (mediaSubtype == SPA_MEDIA_SUBTYPE_raw) {
        for (const auto format : valuesOf<std::uint32_t>(param, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id).first) {
            const auto* raw = std::find_if(kRawVideoFormats.begin(), kRawVideoFormats.end(),
                                           [format](const RawVideoFormat& known) { return known.spa == format; });
            if (raw != kRawVideoFormats.end()) {
                offers.push_back({raw->v4l2, false, {}});
            }
        }
    }
    auto [rectangles, choice] = valuesOf<spa_rectangle>(param, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle);
    std::vector<FrameSize> sizes;
    // A range is offered as its one size nearest the preset.
    if ((choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step) && rectangles.size() >= 3) {
        const auto step = choice == SPA_CHOICE_Step && rectangles.size() >= 4 ? rectangles[3] : spa_rectangle{1, 1};
        sizes.push_back({within(preset.width, rectangles[1].width, rectangles[2].width, step.width),
                         within(preset.height, rectangles[1].height, rectangles[2].height, step.height)});
    } else {
        for (const auto& rectangle : rectangles) {
            sizes.push_back({static_cast<int>(rectangle.width), static_cast<int>(rectangle.height)});
        }
    }
    if (sizes.empty()) {
        return {};
    }
    for (auto& offer : offers) {
        offer.sizes = sizes;
    }
    return offers;
}

Result<PipeWireCameraNode> PipeWireCameraNode::find(const std::filesystem::path& path, FrameSize preset,
                                                    const std::string& remote, std::chrono::milliseconds limit) {
    Listing listing(path, preset);
    return listing.run(remote, limit);
}

}  // namespace moritane
