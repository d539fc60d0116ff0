#pragma once

#include <functional>

namespace moritane {

/// The user's permission for the application to use cameras, with the system's own numbering.
enum class AuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, authorized = 3 };

/// The system's camera permission.
class CameraAuthorization {
public:
    virtual ~CameraAuthorization() = default;

    /// The status now, read synchronously. Any thread.
    [[nodiscard]] virtual AuthorizationStatus authorizationStatus() const = 0;

    /// Asks the system for access, which may ask the user. `completion` gets the answer once, on
    /// a thread of the system's choice.
    virtual void requestAccess(std::function<void(bool granted)> completion) = 0;
};

}  // namespace moritane
