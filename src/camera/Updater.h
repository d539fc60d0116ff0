#pragma once

#include "support/Published.h"

namespace moritane {

/// The application's updater: whether it can look for a newer version, and the look itself,
/// which the user asks for and whose outcome the updater shows by itself.
class Updater {
public:
    virtual ~Updater() = default;

    /// False until the updater knows it can check. Main thread.
    [[nodiscard]] virtual Published<bool>& canCheckForUpdates() = 0;

    /// Looks for a newer version and tells the user what it found. Main thread; returns at once.
    virtual void checkForUpdates() = 0;
};

}  // namespace moritane
