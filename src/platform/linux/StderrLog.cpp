#include "platform/linux/StderrLog.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <unistd.h>
#include <chrono>
#include <ctime>

namespace moritane {

namespace {

std::string timeStamp() {
    const auto now = std::chrono::system_clock::now();
    const auto seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03d}", local, milliseconds);
}

}  // namespace

StderrLog::StderrLog(int descriptor, std::string processName)
    : m_descriptor(descriptor), m_processName(std::move(processName)) {}

void StderrLog::write(std::string_view line) {
    emit(line);
}

void StderrLog::unified(std::string_view subsystem, std::string_view category, LogLevel level,
                        std::string_view message) {
    emit(fmt::format("[{}:{}] {}: {}", subsystem, category, level == LogLevel::error ? "error" : "info", message));
}

void StderrLog::emit(std::string_view text) {
    const auto line = fmt::format("{} {}[{}] {}\n", timeStamp(), m_processName, ::getpid(), text);
    const std::scoped_lock lock(m_mutex);
    std::string_view rest = line;
    while (!rest.empty()) {
        const auto written = ::write(m_descriptor, rest.data(), rest.size());
        if (written <= 0) {
            return;  // nowhere left to report a failing log
        }
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace moritane
