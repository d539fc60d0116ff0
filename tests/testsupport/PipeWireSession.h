#pragma once

#include "testsupport/Process.h"
#include "testsupport/TemporaryDirectory.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace moritane::testing {

/// A PipeWire daemon and WirePlumber of the test's own, on a session bus of their own, in a runtime
/// directory (mode 0700) and a home that nothing else uses; everything ends when it goes.
class PipeWireSession {
public:
    /// Starts the bus, PipeWire and WirePlumber and waits until PipeWire answers and WirePlumber
    /// has connected; throws std::runtime_error when one does not come up in time.
    PipeWireSession();
    PipeWireSession(const PipeWireSession&) = delete;
    PipeWireSession& operator=(const PipeWireSession&) = delete;
    PipeWireSession(PipeWireSession&&) = delete;
    PipeWireSession& operator=(PipeWireSession&&) = delete;
    ~PipeWireSession();

    /// The private XDG_RUNTIME_DIR.
    [[nodiscard]] std::filesystem::path runtimeDirectory() const { return m_directory / "runtime"; }
    /// PipeWire's socket: what a client takes as its remote name (or PIPEWIRE_REMOTE).
    [[nodiscard]] std::filesystem::path socket() const { return runtimeDirectory() / "pipewire-0"; }
    /// What a program needs to use this session: runtime directory, bus, home, path.
    [[nodiscard]] std::vector<std::string> environment() const;

    /// Ends WirePlumber and PipeWire, as when the user's PipeWire goes away.
    void stopDaemons();
    /// Starts them again after stopDaemons() and waits as the constructor does.
    void startDaemons();

    /// Every object `pw-dump` lists, as its JSON.
    [[nodiscard]] nlohmann::json dump() const;
    /// The properties of the node whose "node.description" is `description`, asking again until it
    /// is there or `limit` has passed; none when absent.
    [[nodiscard]] std::optional<nlohmann::json> findNode(const std::string& description,
                                                         std::chrono::milliseconds limit = {}) const;

    /// A consumer as a program in this session: GStreamer's pipewiresrc takes `frames` buffers of
    /// `caps` (e.g. "video/x-raw,format=YUY2,width=1280,height=720") from the node `target` (its
    /// name or "object.serial") and writes their bytes, as they come, one after another into
    /// `file`; e.g. runToEnd(session.captureCommand(...), {}). It sets its own environment.
    [[nodiscard]] std::vector<std::string> captureCommand(const std::string& target, const std::string& caps,
                                                          int frames, const std::filesystem::path& file) const;

    /// A camera as the session manager publishes a V4L2 one: a Video/Source node described as
    /// `description` that names the device node `device` and sends YUY2 640x360 frames of the
    /// colour `rgb` (0xRRGGBB), 30 a second, from GStreamer. Returns once the node is published;
    /// throws std::runtime_error when it is not. The node goes with the process.
    [[nodiscard]] std::unique_ptr<ChildProcess> startCamera(const std::filesystem::path& device, std::uint32_t rgb,
                                                            const std::string& description) const;

private:
    TemporaryDirectory m_directory;
    std::optional<ChildProcess> m_bus;
    std::string m_busAddress;
    std::optional<ChildProcess> m_pipewire;
    std::optional<ChildProcess> m_wireplumber;
};

}  // namespace moritane::testing
