#include "platform/linux/DeviceNodeCameraAuthorization.h"

#include <sys/stat.h>
#include <unistd.h>

namespace moritane {

AuthorizationStatus DeviceNodeCameraAuthorization::authorizationStatus() const {
    bool sawNode = false;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_deviceDirectory, error)) {
        if (!entry.path().filename().string().starts_with("video")) {
            continue;
        }
        struct stat status {};
        if (::stat(entry.path().c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) {
            continue;
        }
        sawNode = true;
        if (::access(entry.path().c_str(), R_OK | W_OK) == 0) {
            return AuthorizationStatus::authorized;
        }
    }
    return sawNode ? AuthorizationStatus::denied : AuthorizationStatus::notDetermined;
}

void DeviceNodeCameraAuthorization::requestAccess(std::function<void(bool granted)> completion) {
    completion(authorizationStatus() == AuthorizationStatus::authorized);
}

}  // namespace moritane
