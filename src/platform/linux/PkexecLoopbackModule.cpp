#include "platform/linux/PkexecLoopbackModule.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <vector>

extern char** environ;  // NOLINT(readability-redundant-declaration): unistd.h declares it only for _GNU_SOURCE

namespace moritane {

namespace {

constexpr std::string_view kModule = "v4l2loopback";
/// One device that browsers list, as their capture code skips devices that also take output.
constexpr std::array<std::string_view, 3> kOptions{"devices=1", "exclusive_caps=1", "card_label=Moritane"};
constexpr int kDismissed = 126;
constexpr int kNotAuthorised = 127;

struct Run {
    /// The wait status; -1 when it could not be started.
    int status = -1;
    /// Standard output and error together, or why it could not be started.
    std::string output;
};

/// Runs `command` to its end with this process's environment and standard input /dev/null; its
/// process id is in `running` while it runs, and it is ended at once when `cancelled` is set.
Run run(const std::vector<std::string>& command, std::atomic<pid_t>* running = nullptr,
        const std::atomic<bool>* cancelled = nullptr) {
    std::array<int, 2> pipe{-1, -1};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        return {-1, fmt::format("cannot make a pipe: {}", std::generic_category().message(errno))};
    }
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], STDERR_FILENO);
    // A process group of its own, so that ending it ends what it started too.
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[1]);
    Run result;
    if (spawned != 0) {
        ::close(pipe[0]);
        result.output = fmt::format("cannot start {}: {}", command[0], std::generic_category().message(spawned));
        return result;
    }
    if (running != nullptr) {
        *running = child;
        // Set before `running` was: the canceller saw no child to end.
        if (cancelled != nullptr && *cancelled) {
            ::kill(-child, SIGTERM);
        }
    }
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = ::read(pipe[0], buffer.data(), buffer.size())) != 0;) {
        if (count > 0) {
            result.output.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            break;
        }
    }
    ::close(pipe[0]);
    // Cleared while the child is still unreaped, so that its id is never taken for another's.
    if (running != nullptr) {
        *running = 0;
    }
    while (::waitpid(child, &result.status, 0) < 0 && errno == EINTR) {
    }
    return result;
}

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

}  // namespace

PkexecLoopbackModule::PkexecLoopbackModule(Programs programs) : m_programs(std::move(programs)) {}

PkexecLoopbackModule::PkexecLoopbackModule() : PkexecLoopbackModule(Programs{}) {}

LoopbackModule::State PkexecLoopbackModule::state() const {
    std::error_code error;
    if (std::filesystem::is_directory(m_programs.modules / kModule, error)) {
        return State::loaded;
    }
    // modprobe resolves aliases, DKMS's updates/ directory and built-in modules as the load will.
    const auto found = run({m_programs.modprobe.string(), "--dry-run", "--quiet", std::string(kModule)});
    return WIFEXITED(found.status) && WEXITSTATUS(found.status) == 0 ? State::notLoaded : State::notInstalled;
}

LoopbackModule::LoadResult PkexecLoopbackModule::load() {
    std::vector<std::string> command{m_programs.pkexec.string(), m_programs.modprobe.string(), std::string(kModule)};
    command.insert(command.end(), kOptions.begin(), kOptions.end());
    const auto loading = run(command, &m_loading, &m_cancelled);
    if (m_cancelled) {
        return {LoadOutcome::dismissed, "the application ended while the administrator was asked"};
    }
    const auto said = trimmed(loading.output);
    // What was said, or else what the exit told.
    const auto describe = [&said](const std::string& fallback) { return said.empty() ? fallback : said; };
    if (!WIFEXITED(loading.status)) {
        return {LoadOutcome::failed, describe(fmt::format("pkexec was killed by signal {}", WTERMSIG(loading.status)))};
    }
    switch (const int status = WEXITSTATUS(loading.status)) {
    case 0:
        return {LoadOutcome::loaded, said};
    case kDismissed:
        return {LoadOutcome::dismissed, describe("the administrator's authentication was dismissed")};
    case kNotAuthorised:
        // Also pkexec's own failures, a missing authentication agent among them: only a refusal
        // is the administrator's answer.
        if (said.empty() || said.find("Not authorized") != std::string::npos) {
            return {LoadOutcome::dismissed, describe("not authorised to load v4l2loopback")};
        }
        return {LoadOutcome::failed, said};
    default:
        if (said.find("Key was rejected by service") != std::string::npos) {
            return {LoadOutcome::refusedByPolicy, said};
        }
        return {LoadOutcome::failed, describe(fmt::format("modprobe ended with exit status {}", status))};
    }
}

void PkexecLoopbackModule::cancel() {
    m_cancelled = true;
    if (const pid_t loading = m_loading; loading > 0) {
        ::kill(-loading, SIGTERM);
    }
}

}  // namespace moritane
