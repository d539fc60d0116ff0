#pragma once

#include "platform/linux/V4l2CaptureSession.h"
#include "support/Error.h"

#include <spa/param/video/raw.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

struct spa_pod;

namespace moritane {

/// A raw video format that we convert, as PipeWire names it and as V4L2 does. JPEG is no raw
/// format there but a media subtype of its own.
struct RawVideoFormat {
    spa_video_format spa;
    std::uint32_t v4l2;
};
inline constexpr std::array kRawVideoFormats{RawVideoFormat{SPA_VIDEO_FORMAT_YUY2, V4L2_PIX_FMT_YUYV},
                                             RawVideoFormat{SPA_VIDEO_FORMAT_NV12, V4L2_PIX_FMT_NV12},
                                             RawVideoFormat{SPA_VIDEO_FORMAT_I420, V4L2_PIX_FMT_YUV420},
                                             RawVideoFormat{SPA_VIDEO_FORMAT_RGB, V4L2_PIX_FMT_RGB24},
                                             RawVideoFormat{SPA_VIDEO_FORMAT_RGBA, V4L2_PIX_FMT_RGBA32}};

/// A V4L2 camera as the session manager publishes it to PipeWire: a video source that any number
/// of programs may stream at once, where the device node lets only one.
struct PipeWireCameraNode {
    std::uint32_t id = 0;
    /// What a stream names as its target ("target.object"): unlike the id, never reused.
    std::string serial;
    std::string description;
    /// What its output offers that we convert, in V4L2's terms; ranges as their size nearest the preset.
    std::vector<V4l2CaptureSession::FormatOffer> offers;

    /// The formats one EnumFormat parameter of a node stands for; empty when none is ours.
    static std::vector<V4l2CaptureSession::FormatOffer> offersOf(const spa_pod& param, FrameSize preset);

    /// The node of the device node `path` ("/dev/video0"), listed on a connection of its own to
    /// `remote` (empty: the user's PipeWire), closed before it returns, after `limit` at the latest.
    /// An error when PipeWire cannot be reached, does not answer in time, or has no such node.
    static Result<PipeWireCameraNode> find(const std::filesystem::path& path, FrameSize preset,
                                           const std::string& remote, std::chrono::milliseconds limit);
};

}  // namespace moritane
