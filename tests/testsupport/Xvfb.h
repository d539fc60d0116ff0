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

    /// Runs xdotool with `arguments` against this display and waits for it; true when it succeeded.
    [[nodiscard]] bool xdotool(const std::vector<std::string>& arguments) const;

private:
    int m_pid = -1;
    std::string m_display;
};

}  // namespace moritane::testing
