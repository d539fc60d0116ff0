#include "testsupport/Xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <stdexcept>

extern char** environ;

namespace moritane::testing {

namespace {

pid_t spawn(std::vector<std::string> arguments, posix_spawn_file_actions_t* actions, char** environment) {
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (::posix_spawnp(&pid, argv[0], actions, nullptr, argv.data(), environment) != 0) {
        throw std::runtime_error("cannot start " + arguments[0]);
    }
    return pid;
}

}  // namespace

XvfbServer::XvfbServer() {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], 3);  // the copy stays open in the server
    const auto devNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    posix_spawn_file_actions_adddup2(&actions, devNull, 2);
    m_pid = spawn({"Xvfb", "-displayfd", "3", "-nolisten", "tcp", "-screen", "0", "640x480x24"}, &actions, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(devNull);
    ::close(pipe[1]);
    // The server writes its display number once it listens.
    std::string number;
    std::array<char, 16> buffer{};
    pollfd descriptor{pipe[0], POLLIN, 0};
    while (number.find('\n') == std::string::npos && ::poll(&descriptor, 1, 20000) > 0) {
        const auto count = ::read(pipe[0], buffer.data(), buffer.size());
        if (count <= 0) {
            break;
        }
        number.append(buffer.data(), static_cast<std::size_t>(count));
    }
    ::close(pipe[0]);
    if (number.find('\n') == std::string::npos) {
        throw std::runtime_error("Xvfb did not start");
    }
    m_display = ":" + number.substr(0, number.find('\n'));
}

XvfbServer::~XvfbServer() {
    ::kill(m_pid, SIGTERM);
    ::waitpid(m_pid, nullptr, 0);
}

bool XvfbServer::run(const std::vector<std::string>& command) const {
    std::string display = "DISPLAY=" + m_display;
    std::string path = "PATH=/usr/local/bin:/usr/bin:/bin";
    std::array<char*, 3> environment{display.data(), path.data(), nullptr};
    const auto pid = spawn(command, nullptr, environment.data());
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace moritane::testing
