#pragma once

#include "testsupport/TemporaryDirectory.h"

#include <sys/stat.h>
#include <string>

namespace moritane::testing {

/// A /dev and a /sys/class/video4linux of the test's making. Tests run as root, who may open any
/// device, so a node this user may not open is a directory or a pipe where the device should be.
struct VideoNodeTree {
    enum class Node { openable, directory, pipe };

    TemporaryDirectory root;
    std::filesystem::path dev = root / "dev";
    std::filesystem::path sysfs = root / "sys/class/video4linux";
    std::filesystem::path devices = root / "sys/devices";

    /// The node `name` in /dev (an openable one is a device that is no camera) and what sysfs
    /// tells of it; `device` is its device's directory under sys/devices.
    void add(const std::string& name, Node kind, std::string_view kernelName, std::string_view index,
             const std::filesystem::path& device = {}) const {
        std::filesystem::create_directories(dev);
        std::filesystem::create_directories(sysfs / name);
        if (kind == Node::openable) {
            std::filesystem::create_symlink("/dev/null", dev / name);
        } else if (kind == Node::directory) {
            std::filesystem::create_directory(dev / name);
        } else {
            ::mkfifo((dev / name).c_str(), 0600);
        }
        writeFile(sysfs / name / "name", std::string(kernelName) + "\n");
        writeFile(sysfs / name / "index", std::string(index) + "\n");
        if (!device.empty()) {
            std::filesystem::create_directories(devices / device);
            std::filesystem::create_directory_symlink(devices / device, sysfs / name / "device");
        }
    }
};

}  // namespace moritane::testing
