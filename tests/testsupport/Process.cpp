#include "testsupport/Process.h"

#include "testsupport/TemporaryDirectory.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <cstdlib>

namespace moritane::testing {

namespace {

/// The new process, or -1 when it could not start.
pid_t spawn(std::vector<std::string> command, std::vector<std::string> environment,
            const posix_spawn_file_actions_t* actions) {
    const auto pointers = [](std::vector<std::string>& strings) {
        std::vector<char*> result;
        for (auto& string : strings) {
            result.push_back(string.data());
        }
        result.push_back(nullptr);
        return result;
    };
    const auto arguments = pointers(command);
    const auto variables = pointers(environment);
    pid_t pid = -1;
    return ::posix_spawnp(&pid, arguments[0], actions, nullptr, arguments.data(), variables.data()) == 0 ? pid : -1;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, std::vector<std::string> environment, int output) {
    std::array<int, 2> pipe{};
    ::pipe2(pipe.data(), O_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], output);
    if (output != STDERR_FILENO) {
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    m_pid = spawn(std::move(command), std::move(environment), &actions);  // if it fails, the pipe reads nothing
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[1]);
    m_pipe = pipe[0];
}

ChildProcess::~ChildProcess() {
    stop();
    ::close(m_pipe);
}

bool ChildProcess::readMore(std::chrono::steady_clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd descriptor{m_pipe, POLLIN, 0};
    std::array<char, 4096> buffer{};
    if (left.count() <= 0 || ::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
        return false;
    }
    const auto count = ::read(m_pipe, buffer.data(), buffer.size());
    if (count <= 0) {
        return false;
    }
    m_output.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

bool ChildProcess::waitFor(std::string_view text, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (m_output.find(text, m_searchFrom) == std::string::npos) {
        if (!readMore(deadline)) {
            return false;
        }
    }
    m_searchFrom = m_output.find(text, m_searchFrom) + text.size();
    return true;
}

const std::string& ChildProcess::readToEnd(std::chrono::milliseconds limit) {
    // Until the pipe closes or time is up; what is read may be any bytes, pixels among them.
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (readMore(deadline)) {
    }
    return m_output;
}

bool ChildProcess::stop() {
    const int status = end(SIGTERM);
    return status != -1 && WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM;
}

int ChildProcess::end(int signal) {
    int status = 0;
    if (m_pid <= 0 || ::kill(m_pid, signal) != 0 || ::waitpid(m_pid, &status, 0) != m_pid) {
        return -1;
    }
    m_pid = -1;
    return status;
}

bool endDaemon(const std::filesystem::path& lock, std::string_view name) {
    const pid_t pid = static_cast<pid_t>(std::atoi(readFile(lock).c_str()));
    // By name: a daemon that ended long ago may have left its id to another process.
    if (pid <= 0 || readFile("/proc/" + std::to_string(pid) + "/comm") != std::string(name) + "\n") {
        return true;
    }
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    pollfd ended{process, POLLIN, 0};
    const bool done = process >= 0 && ::kill(pid, SIGTERM) == 0 && ::poll(&ended, 1, 5000) == 1;
    ::close(process);
    return done;
}

bool runToEnd(std::vector<std::string> command, std::vector<std::string> environment) {
    const auto pid = spawn(std::move(command), std::move(environment), nullptr);
    int status = 0;
    return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace moritane::testing
