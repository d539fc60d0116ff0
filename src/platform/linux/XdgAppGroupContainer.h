#pragma once

#include "camera/AppGroupContainer.h"
#include "support/Log.h"

#include <atomic>
#include <string>

namespace moritane {

/// Group containers as directories under the XDG data home, made private (mode 0700) when
/// missing, as the system makes a container. The fixed directory is ".moritane" in the home
/// directory of the password database, which only this user can prepare. The first time no
/// container can be given, the log says why and where the files go instead.
class XdgAppGroupContainer final : public AppGroupContainer {
public:
    /// The environment it resolves from; empty texts stand for unset variables.
    struct Environment {
        std::string xdgDataHome;
        std::string home;
        std::string accountHome;  // from the password database

        static Environment current();
    };

    XdgAppGroupContainer(Environment environment, Log& log) : m_environment(std::move(environment)), m_log(log) {}

    [[nodiscard]] std::optional<std::filesystem::path> containerURL(std::string_view groupIdentifier) const override;
    [[nodiscard]] std::filesystem::path fixedSharedDirectory() const override;

    /// Where the container of `groupIdentifier` is or would be, made or not: for a reader that
    /// must not make it. None when the environment names no data home.
    [[nodiscard]] std::optional<std::filesystem::path> containerPath(std::string_view groupIdentifier) const;

private:
    [[nodiscard]] std::optional<std::filesystem::path> dataHome() const;
    void tellFallback(std::string_view reason) const;

    Environment m_environment;
    Log& m_log;
    mutable std::atomic<bool> m_toldFallback{false};
};

}  // namespace moritane
