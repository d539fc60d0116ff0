#include "platform/linux/JournalLog.h"

#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <array>
#include <string>

namespace moritane {

JournalLog::JournalLog(Log& fallback, Sender sender) : m_fallback(fallback), m_sender(std::move(sender)) {}

void JournalLog::write(std::string_view line) {
    m_fallback.write(line);
}

void JournalLog::unified(std::string_view subsystem, std::string_view category, LogLevel level,
                         std::string_view message) {
    if (m_sender(subsystem, category, level, message) < 0) {
        m_fallback.unified(subsystem, category, level, message);
    }
}

int JournalLog::sendToJournal(std::string_view subsystem, std::string_view category, LogLevel level,
                              std::string_view message) {
    std::array<std::string, 5> fields{
        "MESSAGE=" + std::string(message),
        "SUBSYSTEM=" + std::string(subsystem),
        "CATEGORY=" + std::string(category),
        "PRIORITY=" + std::to_string(level == LogLevel::error ? LOG_ERR : LOG_INFO),
        "SYSLOG_IDENTIFIER=moritane",
    };
    std::array<iovec, fields.size()> vectors{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        vectors[i] = iovec{fields[i].data(), fields[i].size()};
    }
    return sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size()));
}

}  // namespace moritane
