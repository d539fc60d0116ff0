#include "support/Utf8.h"

#include <gtest/gtest.h>

namespace moritane {
namespace {

TEST(Utf8Test, LeavesWellFormedTextAloneUpToTheLastCodePoint) {
    for (const std::string_view text : {"", "plain", "写真 その1.png", "\xF0\x9F\x93\xB7", "\xF4\x8F\xBF\xBF",
                                        "\xED\x9F\xBF", "\xC2\x80", "\xEF\xBF\xBD"}) {
        EXPECT_EQ(utf8::replacingInvalid(text), text);
    }
}

TEST(Utf8Test, ReplacesEachIllFormedByte) {
    const std::vector<std::pair<std::string_view, std::string_view>> cases{
        {"caf\xE9.png", "caf\xEF\xBF\xBD.png"},                                    // Latin-1
        {"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},                                  // overlong "/"
        {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},                  // surrogate
        {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // past U+10FFFF
        {"a\xE5\x86", "a\xEF\xBF\xBD\xEF\xBF\xBD"},                                // cut short
    };
    for (const auto& [bytes, replaced] : cases) {
        EXPECT_EQ(utf8::replacingInvalid(bytes), replaced);
    }
}

}  // namespace
}  // namespace moritane
