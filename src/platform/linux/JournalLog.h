#pragma once

#include "platform/linux/StderrLog.h"

#include <filesystem>

namespace moritane {

/// The Linux log: the plain channel to standard error; the unified channel to the systemd
/// journal, with SUBSYSTEM and CATEGORY fields, where a journal listens, and to standard error
/// where none does or it refuses a line.
class JournalLog final : public Log {
public:
    /// Where journald receives structured entries.
    static constexpr const char* journalSocket = "/run/systemd/journal/socket";

    /// `socket` is where to look for a listening journal; the entries themselves go wherever the
    /// systemd library sends them, which is `journalSocket`.
    explicit JournalLog(Log& fallback, std::filesystem::path socket = journalSocket);

    void write(std::string_view line) override;
    void unified(std::string_view subsystem, std::string_view category, LogLevel level,
                 std::string_view message) override;

private:
    [[nodiscard]] bool journalListens() const;

    Log& m_fallback;
    std::filesystem::path m_socket;
};

}  // namespace moritane
