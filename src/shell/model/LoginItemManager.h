#pragma once

#include "shell/model/LoginItemService.h"
#include "support/Log.h"
#include "support/Published.h"

#include <memory>

namespace moritane {

/// Mirrors whether the application starts at login, for the General pane's checkbox. The system
/// is the only store of the setting: the mirror is read back from it after every change. Main
/// thread.
class LoginItemManager {
public:
    static std::shared_ptr<LoginItemManager> create(LoginItemService& service, Log& log);

    LoginItemManager(const LoginItemManager&) = delete;
    LoginItemManager& operator=(const LoginItemManager&) = delete;
    LoginItemManager(LoginItemManager&&) = delete;
    LoginItemManager& operator=(LoginItemManager&&) = delete;
    ~LoginItemManager() = default;

    /// True exactly when the system last said the application is enabled.
    Published<bool> isEnabled{false};

    /// Registers or unregisters when that would change anything, then reads the system's answer.
    void setEnabled(bool enabled);

    /// Reads the system's state again, as the General pane does each time it appears.
    void refresh();

private:
    LoginItemManager(LoginItemService& service, Log& log) : m_service(service), m_log(log) {}

    LoginItemService& m_service;
    Log& m_log;
};

}  // namespace moritane
