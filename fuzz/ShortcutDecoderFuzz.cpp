#include "shortcuts/Shortcut.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// A stored shortcut is text in the defaults file, which the user (or anything) may edit.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    using namespace moritane::GlobalShortcuts;
    const auto shortcut = decodeShortcut(text);
    if (!shortcut) {
        return 0;
    }
    // What is read reaches the key services unchanged, and reads back the same once written.
    const bool fits = shortcut->carbonKeyCode >= 0 && shortcut->carbonKeyCode <= maximumKeyCode &&
                      shortcut->carbonModifiers >= 0 && shortcut->carbonModifiers <= maximumModifiers;
    if (!fits || decodeShortcut(encode(*shortcut)) != shortcut) {
        std::abort();
    }
    return 0;
}
