#pragma once

#include "cameraextension/FrameSink.h"
#include "support/Log.h"
#include "support/RunLoop.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

struct pw_context;
struct pw_loop;

namespace moritane {

/// The virtual camera as a PipeWire video source with the camera role, which the camera portal,
/// browsers and OBS list as "Moritane". The node lives as long as the sink and drives its graph:
/// each frame sent while a consumer streams becomes one buffer.
///
/// PipeWire's loop runs on the main thread, in the owner's event loop: watch fd() for reading and
/// call dispatch() whenever it is readable. Without PipeWire, or after losing it, the sink tries
/// again every few seconds on the run loop.
class PipeWireCameraSink final : public FrameSink {
public:
    static constexpr std::chrono::seconds kRetryInterval{2};

    /// `remote` names the PipeWire daemon's socket, in the runtime directory or as a whole path;
    /// empty for the user's own daemon. Connects at once.
    PipeWireCameraSink(RunLoop& runLoop, Log& log, std::string remote = {});
    PipeWireCameraSink(const PipeWireCameraSink&) = delete;
    PipeWireCameraSink& operator=(const PipeWireCameraSink&) = delete;
    PipeWireCameraSink(PipeWireCameraSink&&) = delete;
    PipeWireCameraSink& operator=(PipeWireCameraSink&&) = delete;
    ~PipeWireCameraSink() override;

    [[nodiscard]] bool isWatched() const override { return m_watched; }
    void setWatchedChanged(std::function<void()> changed) override { m_watchedChanged = std::move(changed); }
    void send(const Frame& frame) override;

    /// Readable whenever PipeWire has work for dispatch(); the same descriptor for the sink's life.
    [[nodiscard]] int fd() const;
    /// Does what PipeWire has for the main thread, without waiting.
    void dispatch();

    /// The node's id while it is published.
    [[nodiscard]] std::optional<std::uint32_t> nodeId() const;

private:
    struct Connection;

    void connect();
    void scheduleRetry();
    void dropConnection();
    void setWatched(bool watched);

    void onCoreError(std::uint32_t id, int result, const char* message);
    void onStateChanged(int state, const char* error);
    void onFormatChanged(const void* format);
    void onProcess();

    RunLoop& m_runLoop;
    Log& m_log;
    const std::string m_remote;
    pw_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    std::unique_ptr<Connection> m_connection;
    std::shared_ptr<Timer> m_retry;
    // Why the connection must go, noticed in a callback of its own; acted on after it returns.
    std::string m_dropReason;
    bool m_reportedAbsence = false;
    bool m_watched = false;
    std::function<void()> m_watchedChanged;
    // Held so that its pixels, compared by address, cannot be freed and reused by another frame.
    Frame m_frame;
};

}  // namespace moritane
