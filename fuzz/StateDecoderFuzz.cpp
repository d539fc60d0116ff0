#include "camera/CameraState.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// state.json comes from a directory that other processes can write.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto state = moritane::Constants::decodeCameraState(bytes);
    if (!state) {
        return 0;
    }
    // Whatever reads must write back and read again as the same state.
    const auto encoded = moritane::Constants::encode(state.value());
    if (encoded && !(moritane::Constants::decodeCameraState(encoded.value()).value() == state.value())) {
        std::abort();
    }
    return 0;
}
