#include "platform/sim/CapturingLog.h"

namespace moritane {

void CapturingLog::write(std::string_view line) {
    const std::scoped_lock lock(m_mutex);
    m_lines.emplace_back(line);
}

void CapturingLog::unified(std::string_view subsystem, std::string_view category, LogLevel level,
                           std::string_view message) {
    const std::scoped_lock lock(m_mutex);
    m_unified.push_back({std::string(subsystem), std::string(category), level, std::string(message)});
}

std::vector<std::string> CapturingLog::lines() const {
    const std::scoped_lock lock(m_mutex);
    return m_lines;
}

std::vector<CapturingLog::UnifiedLine> CapturingLog::unifiedLines() const {
    const std::scoped_lock lock(m_mutex);
    return m_unified;
}

void CapturingLog::clear() {
    const std::scoped_lock lock(m_mutex);
    m_lines.clear();
    m_unified.clear();
}

}  // namespace moritane
