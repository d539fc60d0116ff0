#pragma once

#include "sources/CaptureDevices.h"

#include <string_view>

namespace moritane {

/// The running kernel's release, such as 6.1.0: the system version of the Linux edition.
OperatingSystemVersion kernelVersion();

/// "6.1.0-18-amd64" gives 6.1.0; missing parts are 0.
OperatingSystemVersion parseKernelRelease(std::string_view release);

}  // namespace moritane
