#pragma once

#include "frames/Frame.h"
#include "sources/CaptureDevices.h"
#include "support/DispatchQueue.h"
#include "support/Error.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace moritane {

/// A width and a height in pixels.
struct FrameSize {
    int width = 0;
    int height = 0;

    friend bool operator==(const FrameSize&, const FrameSize&) = default;
};

/// One run of a camera's pictures, set up in the platform's steps: the device as input, an output
/// that hands frames to a queue, then running. Set up and started on a capture queue; stopped from
/// the main thread. Dropping a session stops it.
class CaptureSession {
public:
    /// Called with each picture as a BGRA frame of whatever size the camera sends.
    using FrameHandler = std::function<void(const Frame&)>;

    virtual ~CaptureSession() = default;

    /// Opens the device with `uniqueID` for this session. An error whose description says why it
    /// cannot be opened: access refused, the device gone or busy.
    virtual std::optional<Error> makeInput(const std::string& uniqueID) = 0;
    /// Whether the opened device can feed this session; false when there is no input.
    [[nodiscard]] virtual bool canAddInput() const = 0;
    virtual void addInput() = 0;

    /// Makes the output: each frame goes to `handler` on `queue`, one at a time; a frame that
    /// comes while the one before is still being handled is dropped rather than queued.
    virtual void makeOutput(DispatchQueue& queue, FrameHandler handler) = 0;
    /// Whether the session can deliver BGRA frames from its input; false without input or output.
    [[nodiscard]] virtual bool canAddOutput() const = 0;
    virtual void addOutput() = 0;

    /// Starts the pictures flowing. A session whose device goes away ends by itself: no more
    /// frames come.
    virtual void startRunning() = 0;
    /// Stops the pictures and releases the device; no handler call starts after it returns.
    virtual void stopRunning() = 0;
};

/// The system's cameras as capture sources.
class VideoCapture {
public:
    /// The size a preview session asks for; a camera that offers no such size gives the nearest it has.
    static constexpr FrameSize preset1280x720{1280, 720};

    virtual ~VideoCapture() = default;

    /// The device with this id, as camera discovery names it, if one is connected now.
    [[nodiscard]] virtual std::optional<CaptureDevice> deviceWithUniqueID(const std::string& uniqueID) const = 0;

    /// A new session that will ask its camera for `preset`. Any thread.
    [[nodiscard]] virtual std::unique_ptr<CaptureSession> makeSession(FrameSize preset) = 0;
};

}  // namespace moritane
