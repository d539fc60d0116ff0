#include "platform/sim/FakeKeyboardLayouts.h"

namespace moritane {

std::optional<std::string> FakeKeyboardLayout::character(std::uint16_t virtualKeyCode) const {
    ++asked;
    if (current == Layout::none) {
        return std::nullopt;
    }
    // The keys the tests use, by their ANSI positions.
    static const std::map<std::uint16_t, std::string> us{
        {0, "a"},  {1, "s"},  {11, "b"}, {16, "y"}, {6, "z"},  {45, "n"}, {18, "1"}, {19, "2"},
        {29, "0"}, {27, "-"}, {24, "="}, {43, ","}, {47, "."}, {44, "/"}, {50, "`"},
    };
    static const std::map<std::uint16_t, std::string> german{
        {0, "a"},  {1, "s"},       {11, "b"},      {16, "z"}, {6, "y"},  {45, "n"}, {18, "1"}, {19, "2"},
        {29, "0"}, {27, "\u00DF"}, {24, "\u00B4"}, {43, ","}, {47, "."}, {44, "-"}, {50, "^"},
    };
    const auto& table = current == Layout::us ? us : german;
    const auto entry = table.find(virtualKeyCode);
    return entry != table.end() ? std::optional(entry->second) : std::nullopt;
}

}  // namespace moritane
