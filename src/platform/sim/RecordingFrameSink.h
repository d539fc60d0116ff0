#pragma once

#include "cameraextension/FrameSink.h"

#include <functional>
#include <utility>
#include <vector>

namespace moritane {

/// A sink whose watchers the test sets; keeps every frame it is sent.
class RecordingFrameSink final : public FrameSink {
public:
    [[nodiscard]] bool isWatched() const override { return m_watched; }
    void setWatchedChanged(std::function<void()> changed) override { m_changed = std::move(changed); }
    void send(const Frame& frame) override { m_frames.push_back(frame); }

    /// Somebody starts or stops watching, and the sink says so.
    void setWatched(bool watched) {
        m_watched = watched;
        if (m_changed) {
            m_changed();
        }
    }
    [[nodiscard]] const std::vector<Frame>& frames() const { return m_frames; }
    [[nodiscard]] bool hasWatchedChanged() const { return static_cast<bool>(m_changed); }

private:
    bool m_watched = false;
    std::function<void()> m_changed;
    std::vector<Frame> m_frames;
};

}  // namespace moritane
