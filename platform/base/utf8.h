// UTF-8 and ASCII checks on plain bytes, without a converter.
#pragma once

#include <cstddef>
#include <string_view>

namespace quzo::platform {

// Whether every byte is below 0x80.
bool isAscii(std::string_view text);

// The bytes of the UTF-8 sequence that starts at `at` (1 to 4); 0 when none does: a stray or missing
// continuation byte, an overlong form, a surrogate, anything above U+10FFFF.
std::size_t utf8SequenceLength(std::string_view text, std::size_t at);

// The code point of a character, which is one whole sequence.
char32_t codePoint(std::string_view character);

// The length of the longest prefix that is UTF-8 without fault.
std::size_t validUtf8Prefix(std::string_view text);

inline bool isUtf8(std::string_view text) { return validUtf8Prefix(text) == text.size(); }

} // namespace quzo::platform
