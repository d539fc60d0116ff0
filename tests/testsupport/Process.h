#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace moritane::testing {

/// A program a test starts; one of its descriptors is a pipe the test reads. Ended with SIGTERM
/// when it goes.
class ChildProcess {
public:
    /// Starts `command` (a program on the path and its arguments) with only `environment`, its
    /// descriptor `output` writing to the pipe; standard error goes to /dev/null unless it is `output`.
    ChildProcess(std::vector<std::string> command, std::vector<std::string> environment, int output);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&&) = delete;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    /// Reads until the output after the last text waited for contains `text`; false when it does
    /// not come within `limit` or the pipe closes.
    bool waitFor(std::string_view text, std::chrono::milliseconds limit = std::chrono::seconds(20));

    /// Reads until the program closes its end of the pipe, at most for `limit`; all it wrote.
    const std::string& readToEnd(std::chrono::milliseconds limit = std::chrono::seconds(20));

    [[nodiscard]] const std::string& output() const { return m_output; }

    /// Ends the program as the system would; true when it ended by that signal.
    bool stop();
    /// Sends `signal` and waits for the program to end; its wait status, or -1.
    int end(int signal);

private:
    /// Appends what the pipe gives next; false when it closed or nothing came before `deadline`.
    bool readMore(std::chrono::steady_clock::time_point deadline);

    int m_pid = -1;
    int m_pipe = -1;
    std::string m_output;
    std::size_t m_searchFrom = 0;
};

/// A dbus-daemon of the test's own on the stock session configuration, which lets the one user do
/// everything.
struct PrivateBus {
    ChildProcess daemon{{"dbus-daemon", "--session", "--nofork", "--print-address=1"}, {}, 1};
    const bool started = daemon.waitFor("\n");
    const std::string address = daemon.output().substr(0, daemon.output().find('\n'));
};

/// Ends the program `name` whose process id the lock file `lock` holds: a daemon that the program
/// under test started. True when there is none or it ended within a few seconds.
bool endDaemon(const std::filesystem::path& lock, std::string_view name);

/// Runs `command` with only `environment` to its end; true when it succeeded.
bool runToEnd(std::vector<std::string> command, std::vector<std::string> environment);

}  // namespace moritane::testing
