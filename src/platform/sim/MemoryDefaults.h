#pragma once

#include "support/Defaults.h"

#include <map>
#include <mutex>

namespace moritane {

/// User defaults held in memory, for tests.
class MemoryDefaults final : public Defaults {
public:
    [[nodiscard]] DefaultsValue object(std::string_view key) const override;
    void setObject(std::string_view key, DefaultsValue value) override;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, DefaultsValue, std::less<>> m_entries;
};

}  // namespace moritane
