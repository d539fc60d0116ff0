#include "library/SavedImage.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// images.json comes from a directory that other processes can write.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto images = moritane::decodeSavedImages(bytes);
    if (!images) {
        return 0;
    }
    const auto encoded = moritane::encodeSavedImages(images.value());
    if (encoded && !(moritane::decodeSavedImages(encoded.value()).value() == images.value())) {
        std::abort();
    }
    return 0;
}
