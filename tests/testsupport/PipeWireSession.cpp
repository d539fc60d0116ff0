#include "testsupport/PipeWireSession.h"

#include <fmt/format.h>

#include <unistd.h>
#include <algorithm>
#include <functional>
#include <stdexcept>

namespace moritane::testing {

namespace {

using namespace std::chrono_literals;

constexpr auto kStartLimit = 10s;
// The daemons' own descriptor for the pipe ChildProcess reads: they never write to it, so it
// never fills, and their standard error goes to /dev/null.
constexpr int kQuietDescriptor = 3;

}  // namespace

PipeWireSession::PipeWireSession() {
    std::filesystem::create_directory(runtimeDirectory());
    std::filesystem::permissions(runtimeDirectory(), std::filesystem::perms::owner_all);
    std::filesystem::create_directory(m_directory / "home");
    m_bus.emplace(std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=3"},
                  std::vector<std::string>{"PATH=/usr/local/bin:/usr/bin:/bin"}, 3);
    if (!m_bus->waitFor("\n", kStartLimit)) {
        throw std::runtime_error("the session bus did not start");
    }
    m_busAddress = m_bus->output().substr(0, m_bus->output().find('\n'));
    startDaemons();
}

PipeWireSession::~PipeWireSession() {
    stopDaemons();
}

std::vector<std::string> PipeWireSession::environment() const {
    const auto home = m_directory / "home";
    return {
        "PATH=/usr/local/bin:/usr/bin:/bin", "HOME=" + home.string(), "XDG_RUNTIME_DIR=" + runtimeDirectory().string(),
        "XDG_CONFIG_HOME=" + (home / ".config").string(), "XDG_STATE_HOME=" + (home / ".local/state").string(),
        "DBUS_SESSION_BUS_ADDRESS=" + m_busAddress,
        // Shared between tests: building GStreamer's plugin registry anew takes seconds.
        "GST_REGISTRY_1_0=" + (std::filesystem::temp_directory_path() / "moritane-test-gstreamer.registry").string()};
}

void PipeWireSession::stopDaemons() {
    m_wireplumber.reset();
    m_pipewire.reset();
    std::filesystem::remove(socket());
    std::filesystem::remove(socket().string() + ".lock");
}

void PipeWireSession::startDaemons() {
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    // Each dump is the pause before the next: it fails at once until PipeWire answers, and
    // WirePlumber, which needs PipeWire there, connects some time after its start.
    const auto waitFor = [&](const char* what, const std::function<bool(const nlohmann::json&)>& found) {
        for (auto objects = dump(); !std::any_of(objects.begin(), objects.end(), found); objects = dump()) {
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error(fmt::format("{} did not start", what));
            }
        }
    };
    m_pipewire.emplace(std::vector<std::string>{"pipewire"}, environment(), kQuietDescriptor);
    waitFor("PipeWire", [](const nlohmann::json&) { return true; });
    m_wireplumber.emplace(std::vector<std::string>{"wireplumber"}, environment(), kQuietDescriptor);
    waitFor("WirePlumber", [](const nlohmann::json& object) {
        return object.value("type", "") == "PipeWire:Interface:Client" &&
               object["info"]["props"].value("application.name", "") == "WirePlumber";
    });
}

nlohmann::json PipeWireSession::dump() const {
    ChildProcess process({"pw-dump", "--remote", socket().string()}, environment(), STDOUT_FILENO);
    const auto objects = nlohmann::json::parse(process.readToEnd(kStartLimit), nullptr, false);
    return objects.is_array() ? objects : nlohmann::json::array();
}

std::optional<nlohmann::json> PipeWireSession::findNode(const std::string& description,
                                                        std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    do {
        for (const auto& object : dump()) {
            if (object.value("type", "") == "PipeWire:Interface:Node" && object.contains("info") &&
                object["info"]["props"].value("node.description", "") == description) {
                return object["info"]["props"];
            }
        }
    } while (std::chrono::steady_clock::now() < deadline);
    return std::nullopt;
}

std::vector<std::string> PipeWireSession::captureCommand(const std::string& target, const std::string& caps, int frames,
                                                         const std::filesystem::path& file) const {
    std::vector<std::string> command{"env", "-i"};
    const auto variables = environment();
    command.insert(command.end(), variables.begin(), variables.end());
    const std::vector<std::string> consumer{"gst-launch-1.0",
                                            "-q",
                                            "pipewiresrc",
                                            "target-object=" + target,
                                            "num-buffers=" + std::to_string(frames),
                                            "!",
                                            caps,
                                            "!",
                                            "filesink",
                                            "location=" + file.string()};
    command.insert(command.end(), consumer.begin(), consumer.end());
    return command;
}

std::unique_ptr<ChildProcess> PipeWireSession::startCamera(const std::filesystem::path& device, std::uint32_t rgb,
                                                           const std::string& description) const {
    const auto properties =
        fmt::format(R"(stream-properties="props,media.class=Video/Source,node.description=\"{}\",api.v4l2.path=\"{}\",)"
                    R"(object.path=\"v4l2:{}\",device.api=v4l2")",
                    description, device.string(), device.string());
    auto camera = std::make_unique<ChildProcess>(
        std::vector<std::string>{"gst-launch-1.0", "-q", "videotestsrc", "is-live=true", "pattern=solid-color",
                                 fmt::format("foreground-color={:#x}", 0xff000000U | rgb), "!",
                                 "video/x-raw,format=YUY2,width=640,height=360,framerate=30/1", "!", "pipewiresink",
                                 "mode=provide", properties},
        environment(), STDERR_FILENO);
    if (!findNode(description, kStartLimit)) {
        throw std::runtime_error("the test camera was not published: " + camera->output());
    }
    return camera;
}

}  // namespace moritane::testing
