#pragma once

#include "camera/AppGroupContainer.h"

#include <mutex>
#include <string>

namespace moritane {

/// A container that the test decides: a directory of its own, or none. Asking is safe from any
/// thread; the test changes the answer only while no one asks.
class FakeAppGroupContainer final : public AppGroupContainer {
public:
    FakeAppGroupContainer(std::optional<std::filesystem::path> givenContainer, std::filesystem::path fixedDirectory)
        : container(std::move(givenContainer)), fixed(std::move(fixedDirectory)) {}

    [[nodiscard]] std::optional<std::filesystem::path> containerURL(std::string_view groupIdentifier) const override {
        const std::scoped_lock lock(m_mutex);
        ++timesAsked;
        lastGroupIdentifier = groupIdentifier;
        return container;
    }
    [[nodiscard]] std::filesystem::path fixedSharedDirectory() const override { return fixed; }

    std::optional<std::filesystem::path> container;
    std::filesystem::path fixed;
    mutable int timesAsked = 0;
    mutable std::string lastGroupIdentifier;

private:
    mutable std::mutex m_mutex;  // first uses may come from several threads at once
};

}  // namespace moritane
