#pragma once

#include "camera/AppGroupContainer.h"

#include <string>

namespace moritane {

/// Group containers as directories under the XDG data home, made private (mode 0700) when
/// missing, as the system makes a container. The fixed directory is ".moritane" in the home
/// directory of the password database, which only this user can prepare.
class XdgAppGroupContainer final : public AppGroupContainer {
public:
    /// The environment it resolves from; empty texts stand for unset variables.
    struct Environment {
        std::string xdgDataHome;
        std::string home;
        std::string accountHome;  // from the password database

        static Environment current();
    };

    explicit XdgAppGroupContainer(Environment environment) : m_environment(std::move(environment)) {}

    [[nodiscard]] std::optional<std::filesystem::path> containerURL(std::string_view groupIdentifier) const override;
    [[nodiscard]] std::filesystem::path fixedSharedDirectory() const override;

private:
    [[nodiscard]] std::optional<std::filesystem::path> dataHome() const;

    Environment m_environment;
};

}  // namespace moritane
