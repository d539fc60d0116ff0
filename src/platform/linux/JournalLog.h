#pragma once

#include "platform/linux/StderrLog.h"

#include <functional>

namespace moritane {

/// The Linux log: the plain channel to standard error; the unified channel to the systemd
/// journal, with SUBSYSTEM and CATEGORY fields, or to standard error when the journal refuses.
class JournalLog final : public Log {
public:
    /// Sends one entry to the journal; a negative errno value when it could not.
    using Sender = std::function<int(std::string_view subsystem, std::string_view category, LogLevel level,
                                     std::string_view message)>;

    explicit JournalLog(Log& fallback, Sender sender = sendToJournal);

    void write(std::string_view line) override;
    void unified(std::string_view subsystem, std::string_view category, LogLevel level,
                 std::string_view message) override;

    static int sendToJournal(std::string_view subsystem, std::string_view category, LogLevel level,
                             std::string_view message);

private:
    Log& m_fallback;
    Sender m_sender;
};

}  // namespace moritane
