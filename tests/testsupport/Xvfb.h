#pragma once

#include <string>
#include <vector>

namespace moritane::testing {

/// A virtual X server of the test's own, on a display number that was free.
class XvfbServer {
public:
    /// Starts Xvfb and waits until it takes connections.
    XvfbServer();
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;
    XvfbServer(XvfbServer&&) = delete;
    XvfbServer& operator=(XvfbServer&&) = delete;
    ~XvfbServer();

    /// ":N"
    [[nodiscard]] const std::string& display() const { return m_display; }

    /// Runs `command` (a program on the path and its arguments) against this display and waits
    /// for it; true when it succeeded.
    [[nodiscard]] bool run(const std::vector<std::string>& command) const;

    [[nodiscard]] bool xdotool(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{"xdotool"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command);
    }

private:
    int m_pid = -1;
    std::string m_display;
};

}  // namespace moritane::testing
