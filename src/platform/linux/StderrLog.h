#pragma once

#include "support/Log.h"

#include <mutex>
#include <string>

namespace moritane {

/// Writes both channels to a descriptor, standard error by default, one time-stamped line each.
class StderrLog final : public Log {
public:
    explicit StderrLog(int descriptor = 2, std::string processName = "moritane");

    void write(std::string_view line) override;
    void unified(std::string_view subsystem, std::string_view category, LogLevel level,
                 std::string_view message) override;

private:
    void emit(std::string_view text);

    int m_descriptor;
    std::string m_processName;
    std::mutex m_mutex;
};

}  // namespace moritane
