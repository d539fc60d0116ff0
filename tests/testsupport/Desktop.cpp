#include "testsupport/Desktop.h"

#include <unistd.h>

#include <sstream>
#include <thread>

extern char** environ;

namespace moritane::testing {

using namespace std::chrono_literals;

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(100ms);
    }
    return true;
}

ChildProcess startProgram(const std::string& program, const std::filesystem::path& home,
                          std::vector<std::string> variables) {
    variables.insert(variables.end(), {"HOME=" + home.string(), "PATH=/usr/local/bin:/usr/bin:/bin"});
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (const std::string_view variable(*entry); variable.starts_with("ASAN_") || variable.starts_with("UBSAN_")) {
            variables.emplace_back(variable);
        }
    }
    return {{program}, variables, STDERR_FILENO};
}

ChildProcess Desktop::start(const std::string& program, const std::filesystem::path& home,
                            const std::string& language) const {
    std::filesystem::create_directories(home / "runtime");
    return startProgram(program, home,
                        {"XDG_RUNTIME_DIR=" + (home / "runtime").string(), "DISPLAY=" + server.display(),
                         "QT_QPA_PLATFORM=xcb", "LANG=" + language});
}

namespace {

std::vector<std::string> lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

}  // namespace

std::vector<std::string> Desktop::visibleWindows(const std::string& windowClass) const {
    return lines(server.output({"xdotool", "search", "--onlyvisible", "--class", windowClass}));
}

Geometry Desktop::geometry(const std::string& window) const {
    Geometry result;
    for (const auto& line : lines(server.output({"xdotool", "getwindowgeometry", "--shell", window}))) {
        const auto value = line.substr(line.find('=') + 1);
        int* field = line.starts_with("X=")        ? &result.x
                     : line.starts_with("Y=")      ? &result.y
                     : line.starts_with("WIDTH=")  ? &result.width
                     : line.starts_with("HEIGHT=") ? &result.height
                                                   : nullptr;
        if (field != nullptr && !value.empty()) {
            *field = std::stoi(value);
        }
    }
    return result;
}

std::string Desktop::pixels(const Geometry& area) const {
    return server.output({"import", "-window", "root", "-crop",
                          std::to_string(area.width) + "x" + std::to_string(area.height) + "+" +
                              std::to_string(area.x) + "+" + std::to_string(area.y),
                          "-depth", "8", "rgb:-"});
}

bool Desktop::click(const Geometry& area) const {
    return server.xdotool(
        {"mousemove", std::to_string(area.x + area.width / 2), std::to_string(area.y + area.height / 2), "click", "1"});
}

}  // namespace moritane::testing
