#pragma once

#include <string>

namespace moritane {

/// A physical camera that the user can choose as the virtual camera's source.
struct CameraInfo {
    /// The device's unique id; the identity of the entry in lists.
    std::string id;
    /// The device's name, shown to the user.
    std::string name;
    /// A Continuity Camera, whose name the menu marks.
    bool isContinuity = false;

    friend bool operator==(const CameraInfo&, const CameraInfo&) = default;
};

}  // namespace moritane
