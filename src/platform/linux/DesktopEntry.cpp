#include "platform/linux/DesktopEntry.h"

#include <sstream>

namespace moritane::desktopentry {

Keys keys(const std::string& content) {
    Keys keys;
    std::istringstream lines(content);
    bool inGroup = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            inGroup = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inGroup || equals == std::string::npos) {
            continue;
        }
        auto trim = [](const std::string& text) {
            const auto first = text.find_first_not_of(" \t");
            const auto last = text.find_last_not_of(" \t\r");
            return first == std::string::npos ? std::string{} : text.substr(first, last - first + 1);
        };
        keys.insert_or_assign(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
    }
    return keys;
}

bool isTrue(const Keys& keys, std::string_view key) {
    const auto found = keys.find(key);
    return found != keys.end() && found->second == "true";
}

bool isFalse(const Keys& keys, std::string_view key) {
    const auto found = keys.find(key);
    return found != keys.end() && found->second == "false";
}

std::optional<std::string> execArgument(const std::string& argument) {
    std::string quoted = "\"";
    for (const char character : argument) {
        switch (character) {
        case '"':
        case '`':
        case '$':
            quoted += R"(\\)";  // a backslash, itself escaped in the string value
            quoted += character;
            break;
        case '\\':
            quoted += R"(\\\\)";
            break;
        case '%':
            quoted += "%%";
            break;
        case '\n':
        case '\r':
        case '\t':
            return std::nullopt;
        default:
            quoted += character;
        }
    }
    return quoted + "\"";
}

}  // namespace moritane::desktopentry
