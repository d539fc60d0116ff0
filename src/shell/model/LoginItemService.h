#pragma once

#include "support/Error.h"

#include <optional>

namespace moritane {

/// The system's record of whether the application starts when the user logs in.
class LoginItemService {
public:
    enum class Status { notRegistered, enabled, requiresApproval, notFound };

    virtual ~LoginItemService() = default;

    [[nodiscard]] virtual Status status() const = 0;
    /// Asks the system to start the application at login.
    [[nodiscard]] virtual std::optional<Error> registerLoginItem() = 0;
    /// Asks the system no longer to start it.
    [[nodiscard]] virtual std::optional<Error> unregisterLoginItem() = 0;
};

}  // namespace moritane
