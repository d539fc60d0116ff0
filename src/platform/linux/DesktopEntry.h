#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

/// Reading and writing the desktop entries that XDG autostart directories hold.
namespace moritane::desktopentry {

using Keys = std::map<std::string, std::string, std::less<>>;

/// The keys of the "[Desktop Entry]" group; of a key written twice the later counts, as desktops read it.
Keys keys(const std::string& content);

/// Whether `key` is there with the value "true" (or "false").
bool isTrue(const Keys& keys, std::string_view key);
bool isFalse(const Keys& keys, std::string_view key);

/// One argument of an Exec key: quoted, with the characters that quoting does not protect escaped,
/// then escaped again as a desktop entry's string value; none for a control character.
std::optional<std::string> execArgument(const std::string& argument);

}  // namespace moritane::desktopentry
