// Hexadecimal digits.
#pragma once

namespace quzo::platform {

// The value of a digit, upper or lower case; -1 for any other character.
constexpr int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

} // namespace quzo::platform
