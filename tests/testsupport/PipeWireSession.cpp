#include "testsupport/PipeWireSession.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <stdexcept>

namespace moritane::testing {

namespace {

using namespace std::chrono_literals;

constexpr auto kStartLimit = 10s;
// The daemons' own descriptor for the pipe ChildProcess reads: they never write to it, so it
// never fills, and their standard error goes to /dev/null.
constexpr int kQuietDescriptor = 3;

/// Waits until `file` exists, watching its directory rather than asking again and again.
bool waitForFile(const std::filesystem::path& file, std::chrono::steady_clock::time_point deadline) {
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    ::inotify_add_watch(watch, file.parent_path().c_str(), IN_CREATE | IN_MOVED_TO);
    bool found = std::filesystem::exists(file);
    while (!found) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd descriptor{watch, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
            break;
        }
        std::array<char, 4096> events{};
        while (::read(watch, events.data(), events.size()) > 0) {
        }
        found = std::filesystem::exists(file);
    }
    ::close(watch);
    return found;
}

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
    const auto start = std::chrono::steady_clock::now();
    const auto deadline = start + kStartLimit;
    m_pipewire.emplace(std::vector<std::string>{"pipewire"}, environment(), kQuietDescriptor);
    if (!waitForFile(socket(), deadline)) {
        throw std::runtime_error("PipeWire did not start");
    }
    m_wireplumber.emplace(std::vector<std::string>{"wireplumber"}, environment(), kQuietDescriptor);
    const auto connected = [&] {
        for (const auto& object : dump()) {
            if (object.value("type", "") == "PipeWire:Interface:Client" &&
                object["info"]["props"].value("application.name", "") == "WirePlumber") {
                return true;
            }
        }
        return false;
    };
    // Each dump is the pause before the next: the socket exists a moment before PipeWire answers,
    // and WirePlumber connects some time after.
    while (!connected()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("WirePlumber did not connect to PipeWire");
        }
    }
    m_startDuration = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

nlohmann::json PipeWireSession::dump() const {
    ChildProcess process({"pw-dump", "--remote", socket().string()}, environment(), STDOUT_FILENO);
    const auto objects = nlohmann::json::parse(process.readToEnd(kStartLimit), nullptr, false);
    return objects.is_array() ? objects : nlohmann::json::array();
}

std::optional<nlohmann::json> PipeWireSession::findNode(const std::string& description) const {
    for (const auto& object : dump()) {
        if (object.value("type", "") == "PipeWire:Interface:Node" && object.contains("info") &&
            object["info"]["props"].value("node.description", "") == description) {
            return object["info"]["props"];
        }
    }
    return std::nullopt;
}

std::optional<nlohmann::json> PipeWireSession::waitForNode(const std::string& description,
                                                           std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    auto node = findNode(description);
    while (!node && std::chrono::steady_clock::now() < deadline) {
        node = findNode(description);
    }
    return node;
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

}  // namespace moritane::testing
