#pragma once

#include "testsupport/Process.h"
#include "testsupport/Xvfb.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace moritane::testing {

/// Asks again until `condition` holds, for at most `limit`: windows come and go on the server's time.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(15));

/// `program` with a home of the test's, the usual search path and only `variables` besides, but
/// the sanitizers' options; its standard error is read.
ChildProcess startProgram(const std::string& program, const std::filesystem::path& home,
                          std::vector<std::string> variables);

struct Geometry {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    friend bool operator==(const Geometry&, const Geometry&) = default;
};

/// A virtual display on which the tests start programs and look at their windows as a user would.
class Desktop {
public:
    /// `program` on this display with a home and runtime directory of the test's, in `language`
    /// ("C.UTF-8", "ja_JP.UTF-8"); its standard error is read.
    [[nodiscard]] ChildProcess start(const std::string& program, const std::filesystem::path& home,
                                     const std::string& language = "C.UTF-8") const;

    /// The visible windows whose class is `windowClass`.
    [[nodiscard]] std::vector<std::string> visibleWindows(const std::string& windowClass) const;
    [[nodiscard]] Geometry geometry(const std::string& window) const;
    /// The screen's pixels in a rectangle, as raw RGB bytes.
    [[nodiscard]] std::string pixels(const Geometry& area) const;
    /// Clicks the middle of `area`; false when it could not.
    [[nodiscard]] bool click(const Geometry& area) const;

    XvfbServer server;
};

}  // namespace moritane::testing
