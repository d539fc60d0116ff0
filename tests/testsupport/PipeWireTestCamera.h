#pragma once

#include <spa/utils/hook.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>

struct pw_thread_loop;
struct pw_context;
struct pw_core;
struct pw_stream;
struct spa_source;

namespace moritane::testing {

/// A camera as the session manager publishes a V4L2 one: a Video/Source node that names the device
/// node `devicePath` and sends YUY2 frames of one colour, 320x180 or 640x360 as asked, 30 a second
/// while streamed, from a PipeWire thread of its own. The node goes with the object.
class PipeWireTestCamera {
public:
    /// Publishes it on the PipeWire at `socket`; throws std::runtime_error when it is not published in time.
    PipeWireTestCamera(const std::filesystem::path& socket, const std::string& devicePath,
                       std::array<std::uint8_t, 3> yuv);
    PipeWireTestCamera(const PipeWireTestCamera&) = delete;
    PipeWireTestCamera& operator=(const PipeWireTestCamera&) = delete;
    ~PipeWireTestCamera();

private:
    void process();

    const std::array<std::uint8_t, 3> m_yuv;
    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_stream* m_stream = nullptr;
    spa_hook m_listener{};
    spa_source* m_timer = nullptr;
    int m_state = 0;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
};

}  // namespace moritane::testing
