#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace moritane {

/// Where the system keeps the directory that the application shares with its camera extension.
class AppGroupContainer {
public:
    virtual ~AppGroupContainer() = default;

    /// The container of `groupIdentifier`, made if the system makes containers on demand; none
    /// when the system gives none. Asked anew at every use. Any thread.
    [[nodiscard]] virtual std::optional<std::filesystem::path> containerURL(std::string_view groupIdentifier) const = 0;

    /// The fixed directory used when there is no container: a place that only this user can
    /// prepare, so that no one else can plant files there first.
    [[nodiscard]] virtual std::filesystem::path fixedSharedDirectory() const = 0;
};

}  // namespace moritane
