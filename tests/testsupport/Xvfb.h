#pragma once

#include "testsupport/Process.h"

#include <string>
#include <vector>

namespace moritane::testing {

/// A virtual X server of the test's own, on a display number that was free.
class XvfbServer {
public:
    /// Starts Xvfb and waits until it takes connections.
    XvfbServer();

    /// ":N"
    [[nodiscard]] const std::string& display() const { return m_display; }

    /// Runs `command` (a program on the path and its arguments) against this display and waits
    /// for it; true when it succeeded.
    [[nodiscard]] bool run(std::vector<std::string> command) const {
        return runToEnd(std::move(command), {"DISPLAY=" + m_display, "PATH=/usr/local/bin:/usr/bin:/bin"});
    }

    [[nodiscard]] bool xdotool(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{"xdotool"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command);
    }

    /// What `command` run against this display writes to its standard output.
    [[nodiscard]] std::string output(std::vector<std::string> command) const {
        ChildProcess process(std::move(command), {"DISPLAY=" + m_display, "PATH=/usr/local/bin:/usr/bin:/bin"}, 1);
        return process.readToEnd();
    }

private:
    ChildProcess m_server;
    std::string m_display;
};

}  // namespace moritane::testing
