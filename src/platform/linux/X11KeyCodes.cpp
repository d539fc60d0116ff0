#include "platform/linux/X11KeyCodes.h"

#include <array>
#include <utility>

namespace moritane::x11keycodes {

namespace {

// Virtual key code, kernel input code. The Mac's help key sits where PC keyboards have Insert,
// and its keypad clear where they have Num Lock.
constexpr std::array<std::pair<std::int64_t, std::uint16_t>, 113> kTable{{
    {0, 30},    {1, 31},    {2, 32},    {3, 33},    {4, 35},    {5, 34},    {6, 44},    {7, 45},   {8, 46},
    {9, 47},    {10, 86},   {11, 48},   {12, 16},   {13, 17},   {14, 18},   {15, 19},   {16, 21},  {17, 20},
    {18, 2},    {19, 3},    {20, 4},    {21, 5},    {22, 7},    {23, 6},    {24, 13},   {25, 10},  {26, 8},
    {27, 12},   {28, 9},    {29, 11},   {30, 27},   {31, 24},   {32, 22},   {33, 26},   {34, 23},  {35, 25},
    {36, 28},   {37, 38},   {38, 36},   {39, 40},   {40, 37},   {41, 39},   {42, 43},   {43, 51},  {44, 53},
    {45, 49},   {46, 50},   {47, 52},   {48, 15},   {49, 57},   {50, 41},   {51, 14},   {53, 1},   {54, 126},
    {55, 125},  {56, 42},   {57, 58},   {58, 56},   {59, 29},   {60, 54},   {61, 100},  {62, 97},  {64, 187},
    {65, 83},   {67, 55},   {69, 78},   {71, 69},   {72, 115},  {73, 114},  {74, 113},  {75, 98},  {76, 96},
    {78, 74},   {79, 188},  {80, 189},  {81, 117},  {82, 82},   {83, 79},   {84, 80},   {85, 81},  {86, 75},
    {87, 76},   {88, 77},   {89, 71},   {90, 190},  {91, 72},   {92, 73},   {96, 63},   {97, 64},  {98, 65},
    {99, 61},   {100, 66},  {101, 67},  {103, 87},  {105, 183}, {106, 186}, {107, 184}, {109, 68}, {111, 88},
    {113, 185}, {114, 110}, {115, 102}, {116, 104}, {117, 111}, {118, 62},  {119, 107}, {120, 60}, {121, 109},
    {122, 59},  {123, 105}, {124, 106}, {125, 108}, {126, 103},
}};

constexpr std::uint16_t kX11Offset = 8;

}  // namespace

std::optional<std::uint8_t> fromVirtualKeyCode(std::int64_t virtualKeyCode) {
    for (const auto& [code, input] : kTable) {
        if (code == virtualKeyCode) {
            return static_cast<std::uint8_t>(input + kX11Offset);
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> toVirtualKeyCode(std::uint8_t x11KeyCode) {
    for (const auto& [code, input] : kTable) {
        if (input + kX11Offset == x11KeyCode) {
            return code;
        }
    }
    return std::nullopt;
}

}  // namespace moritane::x11keycodes
