#include "platform/linux/KernelVersion.h"

#include <sys/utsname.h>
#include <array>
#include <charconv>

namespace moritane {

OperatingSystemVersion parseKernelRelease(std::string_view release) {
    std::array<int, 3> parts{};
    const auto* position = release.data();
    const auto* end = release.data() + release.size();
    for (auto& part : parts) {
        const auto [stop, error] = std::from_chars(position, end, part);
        if (error != std::errc{} || stop == end || *stop != '.') {
            break;
        }
        position = stop + 1;
    }
    return {parts[0], parts[1], parts[2]};
}

OperatingSystemVersion kernelVersion() {
    utsname names{};
    return ::uname(&names) == 0 ? parseKernelRelease(names.release) : OperatingSystemVersion{};
}

}  // namespace moritane
