#pragma once

#include "frames/Frame.h"

#include <functional>
#include <string_view>

namespace moritane {

/// Where the camera extension's pictures go: one way in which other programs see the virtual
/// camera. Main thread only.
class FrameSink {
public:
    /// The size of every frame a sink is handed.
    static constexpr int frameWidth = 1280;
    static constexpr int frameHeight = 720;
    static constexpr int framesPerSecond = 30;

    virtual ~FrameSink() = default;

    /// Whether somebody may be watching: a consumer takes its frames, or the sink cannot know and
    /// must never go silent. While any sink is watched, frames come framesPerSecond times a second.
    [[nodiscard]] virtual bool isWatched() const = 0;

    /// Called whenever isWatched() may have changed.
    virtual void setWatchedChanged(std::function<void()> changed) = 0;

    /// The picture of this moment, frameWidth x frameHeight. The same pixels come again and again
    /// while the picture stands still (a copy of the same frame), which a sink may use to convert
    /// them only once.
    virtual void send(const Frame& frame) = 0;
};

}  // namespace moritane
