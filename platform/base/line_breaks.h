// Lines of a text of mail: their breaks and their length.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// Bytes of a line without its break that SMTP carries.
constexpr std::size_t kMaxLineBytes = 998;

bool hasLongLine(std::string_view text);

// With `lineBreak` where there was LF or CRLF.
std::string withLineBreaks(std::string_view text, std::string_view lineBreak);

} // namespace quzo::platform
