// Finding the few lines of a body that can matter to its structure.
#pragma once

#include <cstddef>
#include <string_view>

namespace quzo::platform {

// What some programs write in front of a text in UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Where the next line that begins with "--" starts, at `from` or behind it; npos when there is none before
// `end`. `from` is the start of a line. Boundary lines and the marks of inline PGP begin so; bodies are
// passed over at memory speed, whatever the length of their lines.
std::size_t findDashLine(std::string_view text, std::size_t from, std::size_t end);

// Behind the line break of the line that holds `at`, or `end` when the line has none.
std::size_t findLineEnd(std::string_view text, std::size_t at, std::size_t end);

// Whether a line that has no content starts at `at`: a line break, or carriage returns and a line break (what
// a text looks like whose LFs were made CRLF twice).
bool isEmptyLine(std::string_view text, std::size_t at, std::size_t end);

// Where the line break in front of `lineBegin` starts; `lineBegin` itself when there is none.
std::size_t beforeLineBreak(std::string_view text, std::size_t lineBegin);

} // namespace quzo::platform
