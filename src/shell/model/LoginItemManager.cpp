#include "shell/model/LoginItemManager.h"

#include <fmt/format.h>

namespace moritane {

std::shared_ptr<LoginItemManager> LoginItemManager::create(LoginItemService& service, Log& log) {
    std::shared_ptr<LoginItemManager> manager(new LoginItemManager(service, log));
    manager->refresh();
    return manager;
}

void LoginItemManager::setEnabled(bool enabled) {
    const bool isEnabledNow = m_service.status() == LoginItemService::Status::enabled;
    if (enabled != isEnabledNow) {
        const auto error = enabled ? m_service.registerLoginItem() : m_service.unregisterLoginItem();
        if (error) {
            m_log.write(fmt::format("LoginItemManager: failed to set login item to {}: {}",
                                    enabled ? "enabled" : "disabled", error->description));
        }
    }
    refresh();
}

void LoginItemManager::refresh() {
    isEnabled = m_service.status() == LoginItemService::Status::enabled;
}

}  // namespace moritane
