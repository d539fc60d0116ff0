#pragma once

#include "shell/model/LoginItemService.h"

#include <utility>

namespace moritane {

/// A login item whose status the test sets; registering and unregistering move it as the system
/// would unless the test has made them fail, and are counted.
class FakeLoginItemService final : public LoginItemService {
public:
    [[nodiscard]] Status status() const override { return currentStatus; }

    std::optional<Error> registerLoginItem() override {
        ++registrations;
        if (failure) {
            return failure;
        }
        currentStatus = statusAfterRegistering;
        return std::nullopt;
    }

    std::optional<Error> unregisterLoginItem() override {
        ++unregistrations;
        if (failure) {
            return failure;
        }
        currentStatus = Status::notRegistered;
        return std::nullopt;
    }

    Status currentStatus = Status::notRegistered;
    /// What the system makes of a registration it accepts.
    Status statusAfterRegistering = Status::enabled;
    std::optional<Error> failure;
    int registrations = 0;
    int unregistrations = 0;
};

}  // namespace moritane
