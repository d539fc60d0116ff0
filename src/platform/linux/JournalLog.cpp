#include "platform/linux/JournalLog.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>
#include <array>
#include <cstring>
#include <string>

namespace moritane {

JournalLog::JournalLog(Log& fallback, std::filesystem::path socket)
    : m_fallback(fallback), m_socket(std::move(socket)) {}

void JournalLog::write(std::string_view line) {
    m_fallback.write(line);
}

bool JournalLog::journalListens() const {
    // The systemd library reports success when no journal is there to take an entry, so the
    // journal's presence is asked of its socket before each entry.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto& path = m_socket.native();
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(static_cast<char*>(address.sun_path), path.c_str(), path.size() + 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return false;
    }
    const bool listens =
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket API takes the generic form
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(descriptor);
    return listens;
}

void JournalLog::unified(std::string_view subsystem, std::string_view category, LogLevel level,
                         std::string_view message) {
    if (!journalListens()) {
        m_fallback.unified(subsystem, category, level, message);
        return;
    }
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
    if (sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())) < 0) {
        m_fallback.unified(subsystem, category, level, message);
    }
}

}  // namespace moritane
