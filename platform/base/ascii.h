// ASCII letters and blanks, without a locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace quzo::platform {

constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Equal apart from the case of ASCII letters.
constexpr bool equalsNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

// A control character of ASCII, DEL included.
constexpr bool isControlByte(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

inline bool hasControlBytes(std::string_view text) {
    return std::any_of(text.begin(), text.end(), isControlByte);
}

// The same without tabs, which stand between words of a line.
inline bool hasControlsButTabs(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return isControlByte(c) && c != '\t'; });
}

constexpr bool isBlank(char c) { return c == ' ' || c == '\t'; }

inline bool startsWithNoCase(std::string_view text, std::string_view prefix) {
    return equalsNoCase(text.substr(0, prefix.size()), prefix);
}

inline std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), asciiLower);
    return out;
}

// Without the blanks, tabs and line breaks at both ends.
inline std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

} // namespace quzo::platform
