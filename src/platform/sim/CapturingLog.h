#pragma once

#include "support/Log.h"

#include <mutex>
#include <string>
#include <vector>

namespace moritane {

/// Keeps every line so that tests can assert the exact texts.
class CapturingLog final : public Log {
public:
    struct UnifiedLine {
        std::string subsystem;
        std::string category;
        LogLevel level;
        std::string message;
        friend bool operator==(const UnifiedLine&, const UnifiedLine&) = default;
    };

    void write(std::string_view line) override;
    void unified(std::string_view subsystem, std::string_view category, LogLevel level,
                 std::string_view message) override;

    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] std::vector<UnifiedLine> unifiedLines() const;
    void clear();

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    std::vector<UnifiedLine> m_unified;
};

}  // namespace moritane
