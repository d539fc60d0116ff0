#include "platform/sim/MemoryDefaults.h"

namespace moritane {

DefaultsValue MemoryDefaults::object(std::string_view key) const {
    const std::scoped_lock lock(m_mutex);
    const auto entry = m_entries.find(key);
    return entry == m_entries.end() ? DefaultsValue{} : entry->second;
}

void MemoryDefaults::setObject(std::string_view key, DefaultsValue value) {
    const std::scoped_lock lock(m_mutex);
    if (std::holds_alternative<std::monostate>(value)) {
        if (const auto entry = m_entries.find(key); entry != m_entries.end()) {
            m_entries.erase(entry);
        }
        return;
    }
    m_entries.insert_or_assign(std::string(key), std::move(value));
}

}  // namespace moritane
