#pragma once

#include "cameraextension/FrameSink.h"
#include "support/Error.h"
#include "support/Log.h"

#include <linux/videodev2.h>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace moritane {

/// What a writer of v4l2loopback asks of the video nodes, apart from the sink so that the sink can
/// be tried without the kernel module. Errors carry the system's error number as their code.
class LoopbackDevices {
public:
    /// What a node's driver says of itself (VIDIOC_QUERYCAP).
    struct Identity {
        std::string driver;
        std::string card;
    };

    virtual ~LoopbackDevices() = default;

    /// The video nodes present now, such as /dev/video3, in the order of their numbers.
    [[nodiscard]] virtual std::vector<std::filesystem::path> nodes() const = 0;
    /// None when the node cannot be opened or answers as no V4L2 device.
    [[nodiscard]] virtual std::optional<Identity> identify(const std::filesystem::path& node) const = 0;
    /// A handle of `node` opened for writing; writes never wait.
    virtual Result<int> open(const std::filesystem::path& node) = 0;
    /// Sets the format of the device's output; `format` comes back as the driver set it.
    virtual std::optional<Error> setFormat(int handle, v4l2_pix_format& format) = 0;
    virtual std::optional<Error> setTimePerFrame(int handle, v4l2_fract timePerFrame) = 0;
    /// One whole picture; EAGAIN when the driver takes none now.
    virtual std::optional<Error> write(int handle, std::span<const std::uint8_t> bytes) = 0;
    virtual void close(int handle) = 0;
};

/// The kernel's video nodes under a /dev.
class KernelLoopbackDevices final : public LoopbackDevices {
public:
    /// Lists the nodes in `deviceDirectory` whose name in `sysfsClassDirectory` is our label, or
    /// that sysfs does not name.
    explicit KernelLoopbackDevices(std::filesystem::path deviceDirectory = "/dev",
                                   std::filesystem::path sysfsClassDirectory = "/sys/class/video4linux");

    [[nodiscard]] std::vector<std::filesystem::path> nodes() const override;
    [[nodiscard]] std::optional<Identity> identify(const std::filesystem::path& node) const override;
    Result<int> open(const std::filesystem::path& node) override;
    std::optional<Error> setFormat(int handle, v4l2_pix_format& format) override;
    std::optional<Error> setTimePerFrame(int handle, v4l2_fract timePerFrame) override;
    std::optional<Error> write(int handle, std::span<const std::uint8_t> bytes) override;
    void close(int handle) override;

private:
    std::filesystem::path m_deviceDirectory;
    std::filesystem::path m_sysfsClassDirectory;
};

/// The virtual camera on the v4l2loopback device labelled "Moritane", for programs that read
/// /dev/video* rather than PipeWire. The module cannot tell a writer whether anybody reads, and
/// browsers drop a device whose writer went away, so while it has a device the sink counts as
/// watched and must be given every frame.
class V4l2LoopbackSink final : public FrameSink {
public:
    /// The driver name v4l2loopback answers with, and the label (its card_label) of ours.
    static constexpr std::string_view kDriver = "v4l2 loopback";
    static constexpr std::string_view kCardLabel = "Moritane";

    V4l2LoopbackSink(LoopbackDevices& devices, Log& log);
    V4l2LoopbackSink(const V4l2LoopbackSink&) = delete;
    V4l2LoopbackSink& operator=(const V4l2LoopbackSink&) = delete;
    ~V4l2LoopbackSink() override;

    /// Takes the device labelled "Moritane" and sets it to YUYV 1280x720 at 30 fps, unless one is
    /// in use already. Called at start and again every few seconds while there is none.
    void findDevice();

    [[nodiscard]] bool isWatched() const override { return m_handle.has_value(); }
    void setWatchedChanged(std::function<void()> changed) override { m_watchedChanged = std::move(changed); }
    void send(const Frame& frame) override;

    /// Pictures converted so far: a picture that stands still is converted once.
    [[nodiscard]] std::uint64_t picturesConverted() const { return m_picturesConverted; }

private:
    /// The node of ours, or why there is none, for the log.
    Result<std::filesystem::path> locate() const;
    std::optional<Error> prepare(int handle);
    void noteProblem(const std::string& line);
    void lose(const Error& error);
    void changed();

    LoopbackDevices& m_devices;
    Log& m_log;
    std::function<void()> m_watchedChanged;
    std::optional<int> m_handle;
    std::filesystem::path m_node;
    // The last failed find's line, which a later find that fails alike does not repeat.
    std::string m_lastProblem;
    // The picture whose YUYV is in m_yuyv; holding it keeps its pixels' address from being reused.
    Frame m_converted;
    std::vector<std::uint8_t> m_yuyv;
    std::uint64_t m_picturesConverted = 0;
};

}  // namespace moritane
