#pragma once

#include <string_view>

namespace moritane {

/// Levels of the unified channel that the product writes at.
enum class LogLevel { info, error };

/// Where the product's log lines go. Both channels may be written from any thread; a line is
/// written whole or not at all, and writing never fails towards the caller.
class Log {
public:
    virtual ~Log() = default;

    /// The plain channel: one line that starts with its writer's name and a colon, such as
    /// "CameraManager: wrote state mode=off image=nil camera=nil".
    virtual void write(std::string_view line) = 0;

    /// The unified channel: a message under a subsystem and a category, at a level.
    virtual void unified(std::string_view subsystem, std::string_view category, LogLevel level,
                         std::string_view message) = 0;
};

}  // namespace moritane
