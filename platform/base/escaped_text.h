// Bytes of any kind as UTF-8, reversibly: for files that are read again. What people are shown goes through
// visibleText() instead, which is not undone.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// UTF-8 stays as it is but for the backslash, which is doubled; every other byte becomes "\xNN" with two
// lower-case hexadecimal digits.
std::string escapedText(std::string_view bytes);

// Undoes it. False when a backslash begins neither form; `out` may then hold anything.
bool unescapeText(std::string_view text, std::string& out);

} // namespace quzo::platform
