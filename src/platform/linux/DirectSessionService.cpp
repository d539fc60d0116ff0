#include "platform/linux/DirectSessionService.h"

#include "platform/linux/DesktopEntry.h"
#include "platform/linux/LinuxPaths.h"
#include "platform/linux/XdgAutostartLoginItemService.h"
#include "support/Files.h"
#include "support/Uuid.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <thread>

// glibc 2.36 declares these without C linkage.
extern "C" {
#include <sys/pidfd.h>
}

extern char** environ;  // NOLINT(readability-redundant-declaration): unistd.h declares it only for _GNU_SOURCE

namespace moritane {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view kDomain = "SessionService";
constexpr std::size_t kMaxEntryBytes = std::size_t{64} * 1024;

Error sessionError(int code, std::string description) {
    return {std::string(kDomain), code, std::move(description)};
}

std::optional<std::string> entryFor(const std::filesystem::path& program) {
    const auto exec = desktopentry::execArgument(program.string());
    if (!exec) {
        return std::nullopt;
    }
    return fmt::format(
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Moritane camera\n"
        "Comment=The virtual camera \"Moritane\"\n"
        "Exec={}\n"
        "Terminal=false\n"
        "NoDisplay=true\n"
        "X-GNOME-Autostart-enabled=true\n"
        "{}=true\n",
        *exec, DirectSessionService::ownerKey);
}

/// Waits until `descriptor` can be read or `deadline` has passed; false for the latter.
bool waitReadable(int descriptor, Clock::time_point deadline) {
    pollfd readable{descriptor, POLLIN, 0};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int ready = ::poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (ready != 0 || left.count() <= 0) {
            return ready > 0 || (ready < 0 && errno != EINTR);
        }
    }
}

/// Whether nobody holds the lock on `descriptor`'s file; it is not kept.
bool isFree(int descriptor) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    ::flock(descriptor, LOCK_UN);
    return true;
}

std::string processName(pid_t pid) {
    const auto name = files::readFile(fmt::format("/proc/{}/comm", pid), 64);
    return name ? name.value().substr(0, name.value().find('\n')) : std::string{};
}

/// The last line of a log that may be long; empty when there is none.
std::string lastLine(const std::filesystem::path& path) {
    const files::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!file.valid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    std::array<char, 4096> buffer{};
    const auto start = std::max<off_t>(status.st_size - static_cast<off_t>(buffer.size()), 0);
    const auto count = ::pread(file.get(), buffer.data(), buffer.size(), start);
    std::string text(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text.substr(text.rfind('\n') + 1);
}

std::string describeEnd(int status) {
    if (WIFSIGNALED(status)) {
        return fmt::format("was killed by signal {} ({})", WTERMSIG(status), ::sigabbrev_np(WTERMSIG(status)));
    }
    return fmt::format("ended with exit status {}", WEXITSTATUS(status));
}

/// Whether a datagram on `socket` says READY=1 and comes from `child`.
bool readReady(int socket, pid_t child) {
    std::array<char, 4096> buffer{};
    iovec part{buffer.data(), buffer.size() - 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const auto length = ::recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    const cmsghdr* header = length < 0 ? nullptr : CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_CREDENTIALS) {
        return false;
    }
    ucred sender{};
    std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
    const std::string text = "\n" + std::string(buffer.data(), static_cast<std::size_t>(length)) + "\n";
    return sender.pid == child && text.find("\nREADY=1\n") != std::string::npos;
}

}  // namespace

DirectSessionService::DirectSessionService(Paths paths, std::vector<std::string> environment)
    : m_paths(std::move(paths)), m_environment(std::move(environment)) {}

std::unique_ptr<DirectSessionService> DirectSessionService::forUser(std::filesystem::path program) {
    const auto state = linuxpaths::baseDirectory("XDG_STATE_HOME", ".local/state");
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environment.emplace_back(*variable);
    }
    return std::make_unique<DirectSessionService>(
        Paths{std::move(program), linuxpaths::instanceDirectory() / "moritane-camera.lock",
              state / "moritane" / "moritane-camera.log",
              XdgAutostartLoginItemService::userAutostartDirectory() / "moritane-camera.desktop"},
        std::move(environment));
}

Result<bool> DirectSessionService::isRunning() const {
    // The daemon holds its lock for its whole life.
    const files::FileDescriptor lock(::open(m_paths.lockFile.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    return lock.valid() && !isFree(lock.get());
}

Result<bool> DirectSessionService::isRegistered() const {
    const auto content = files::readFile(m_paths.autostartEntry, kMaxEntryBytes);
    if (!content) {
        if (!files::exists(m_paths.autostartEntry)) {
            return false;
        }
        return content.error();
    }
    const auto keys = desktopentry::keys(content.value());
    const auto exec = keys.find("Exec");
    return desktopentry::isTrue(keys, ownerKey) && !desktopentry::isTrue(keys, "Hidden") &&
           !desktopentry::isFalse(keys, "X-GNOME-Autostart-enabled") && exec != keys.end() &&
           exec->second == desktopentry::execArgument(m_paths.program.string());
}

std::optional<Error> DirectSessionService::registerWithSession() {
    const auto registered = isRegistered();
    if (!registered) {
        return registered.error();
    }
    if (registered.value()) {
        return std::nullopt;
    }
    if (files::exists(m_paths.autostartEntry)) {
        return sessionError(EEXIST, fmt::format("{} was changed or turned off by its user and was left as it is; "
                                                "moritane-camera may not start at the next login",
                                                m_paths.autostartEntry.string()));
    }
    const auto content = entryFor(m_paths.program);
    if (!content) {
        return sessionError(
            EINVAL, fmt::format("the path {} cannot be written in an autostart entry", m_paths.program.string()));
    }
    if (!files::createDirectories(m_paths.autostartEntry.parent_path())) {
        return files::posixError(errno, "could not create", m_paths.autostartEntry.parent_path());
    }
    return files::writeFileAtomically(m_paths.autostartEntry, *content);
}

std::optional<Error> DirectSessionService::restart() {
    if (auto error = endRunning()) {
        return error;
    }
    return start();
}

std::optional<Error> DirectSessionService::endRunning() const {
    const files::FileDescriptor lock(::open(m_paths.lockFile.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!lock.valid()) {
        return errno == ENOENT ? std::nullopt
                               : std::optional(files::posixError(errno, "could not open", m_paths.lockFile));
    }
    if (isFree(lock.get())) {
        return std::nullopt;
    }
    std::array<char, 32> text{};
    const auto length = ::pread(lock.get(), text.data(), text.size() - 1, 0);
    const pid_t pid = length > 0 ? static_cast<pid_t>(std::strtol(text.data(), nullptr, 10)) : 0;
    // The id is checked against the name, so that a stale one never ends somebody else's process.
    if (pid <= 0 || processName(pid) != "moritane-camera") {
        return sessionError(ESRCH,
                            fmt::format("a moritane-camera runs, but {} does not say which; end it and try again",
                                        m_paths.lockFile.string()));
    }
    const files::FileDescriptor process(::pidfd_open(pid, 0));
    for (const int signal : {SIGTERM, SIGKILL}) {
        if (!process.valid() || ::pidfd_send_signal(process.get(), signal, nullptr, 0) != 0) {
            break;  // it has ended already
        }
        if (waitReadable(process.get(), Clock::now() + endTimeLimit)) {
            break;
        }
    }
    if (!isFree(lock.get())) {
        return sessionError(EBUSY, fmt::format("the running moritane-camera (process {}) did not end", pid));
    }
    return std::nullopt;
}

std::optional<Error> DirectSessionService::start() const {
    if (!files::createDirectories(m_paths.logFile.parent_path())) {
        return files::posixError(errno, "could not create", m_paths.logFile.parent_path());
    }
    // Whatever else is put where the log belongs (a pipe nobody reads, a link) must neither block
    // the start nor receive the daemon's output.
    const files::FileDescriptor log(
        ::open(m_paths.logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, 0600));
    struct stat logStatus {};
    if (!log.valid() || ::fstat(log.get(), &logStatus) != 0) {
        return files::posixError(errno, "could not open", m_paths.logFile);
    }
    if (!S_ISREG(logStatus.st_mode)) {
        return files::posixError(EINVAL, "could not write to", m_paths.logFile);
    }
    // An abstract address: nothing on disk to clean up, and gone with the descriptor.
    const auto name = fmt::format("moritane-camera-ready-{}", Uuid::random().uuidString());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(&address.sun_path[1], name.data(), name.size());
    const files::FileDescriptor notify(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int passCredentials = 1;
    if (!notify.valid() ||
        ::setsockopt(notify.get(), SOL_SOCKET, SO_PASSCRED, &passCredentials, sizeof passCredentials) != 0 ||
        ::bind(notify.get(), reinterpret_cast<const sockaddr*>(&address),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size())) != 0) {
        return files::posixError(errno, "could not make a socket for the start of", m_paths.program);
    }

    std::vector<std::string> environment;
    std::ranges::copy_if(m_environment, std::back_inserter(environment),
                         [](const std::string& variable) { return !variable.starts_with("NOTIFY_SOCKET="); });
    environment.push_back("NOTIFY_SOCKET=@" + name);
    std::vector<char*> variables;
    variables.reserve(environment.size() + 1);
    for (auto& variable : environment) {
        variables.push_back(variable.data());
    }
    variables.push_back(nullptr);
    std::string program = m_paths.program.string();
    std::array<char*, 2> arguments{program.data(), nullptr};

    // Its own session, so that it outlives the application and no terminal's signals reach it;
    // no signal blocked or ignored, whatever the application does with them.
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    sigset_t none{};
    sigset_t all{};
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, log.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, log.get(), STDERR_FILENO);
    // Nothing else of ours: a descriptor the daemon inherited would live, and hold what it holds
    // (a lock, a pipe's end), for the daemon's whole life.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t child = 0;
    const int spawned =
        ::posix_spawn(&child, program.c_str(), &actions, &attributes, arguments.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0) {
        return files::posixError(spawned, "could not start", m_paths.program);
    }
    return waitUntilReady(notify.get(), child);
}

std::optional<Error> DirectSessionService::waitUntilReady(int notify, pid_t child) const {
    const files::FileDescriptor process(::pidfd_open(child, 0));
    const auto deadline = Clock::now() + startTimeLimit;
    auto outcome = std::optional(sessionError(
        ETIMEDOUT, fmt::format("{} did not report within {} s that it runs; its output is in {}",
                               m_paths.program.string(), startTimeLimit.count(), m_paths.logFile.string())));
    for (auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()); left.count() > 0;
         left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now())) {
        std::array<pollfd, 2> events{{{notify, POLLIN, 0}, {process.get(), POLLIN, 0}}};
        if (::poll(events.data(), process.valid() ? 2 : 1, static_cast<int>(left.count())) < 0 && errno != EINTR) {
            break;
        }
        if ((events[0].revents & POLLIN) != 0 && readReady(notify, child)) {
            outcome.reset();
            break;
        }
        if ((events[1].revents & POLLIN) != 0) {
            int status = 0;
            ::waitpid(child, &status, 0);
            return sessionError(ESRCH, fmt::format("{} {} at its start: {}", m_paths.program.string(),
                                                   describeEnd(status), lastLine(m_paths.logFile)));
        }
    }
    if (outcome) {
        // Never a daemon running behind a start reported as failed.
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        return outcome;
    }
    // Collected when it ends, however long that is.
    std::thread([child] { ::waitpid(child, nullptr, 0); }).detach();
    return outcome;
}

}  // namespace moritane
