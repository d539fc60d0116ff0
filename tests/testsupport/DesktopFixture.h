#pragma once

#include "testsupport/Desktop.h"
#include "testsupport/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace moritane::testing {

/// Onboarding done in `home`: only the windows under test come up.
inline void completeOnboarding(const std::filesystem::path& home) {
    std::filesystem::create_directories(home / ".config/moritane");
    writeFile(home / ".config/moritane/defaults.json", R"({"hasCompletedOnboarding": true})");
}

/// The program on a display of its own, with a home of the test's.
class DesktopFixture : public ::testing::Test {
protected:
    // Once onboarding is done, the program installs and starts the camera.
    void TearDown() override { EXPECT_TRUE(endDaemon(home / "runtime/moritane-camera.lock", "moritane-camera")); }

    [[nodiscard]] ChildProcess start(const std::string& language = "C.UTF-8") const {
        return desktop.start(MORITANE_PROGRAM, home.path(), language);
    }
    /// A tray host along the top edge, its icons at the right.
    [[nodiscard]] ChildProcess tray() const {
        return {{"trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height", "28"},
                {"DISPLAY=" + desktop.server.display()},
                1};
    }
    [[nodiscard]] bool key(const std::string& keys) const {
        return desktop.server.xdotool({"key", "--delay", "50", keys});
    }

    Desktop desktop;
    TemporaryDirectory home;
    const std::filesystem::path shared = home / ".local/share/K7P3W9XQ2T.org.quelbrand.moritane";
};

}  // namespace moritane::testing
