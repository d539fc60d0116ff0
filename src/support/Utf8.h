#pragma once

#include <string>
#include <string_view>

namespace moritane::utf8 {

/// `bytes` with each byte that starts no well-formed UTF-8 sequence replaced by U+FFFD. Stray or
/// missing continuation bytes, overlong forms, surrogates and anything above U+10FFFF are
/// ill-formed; well-formed text comes back as it was.
std::string replacingInvalid(std::string_view bytes);

/// The code points of `bytes`, read as `replacingInvalid` reads them.
std::u32string codePoints(std::string_view bytes);

/// The UTF-8 form of one code point.
std::string encode(char32_t point);

}  // namespace moritane::utf8
