#include "shortcuts/Shortcut.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// A stored shortcut is text in the defaults file, which the user (or anything) may edit.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto shortcut = moritane::GlobalShortcuts::decodeShortcut(text);
    if (shortcut &&
        moritane::GlobalShortcuts::decodeShortcut(moritane::GlobalShortcuts::encode(*shortcut)) != shortcut) {
        std::abort();
    }
    return 0;
}
