// The positional encoding of named objects: length-prefixed strings and colon-terminated numbers, one after
// the other. Example: the number 30 and the string "Q" are "30:1:Q:".
//
// The readers work on a SettingText and only on that: their bounds rely on its padding.
#pragma once

#include <string>
#include <string_view>

namespace quzo {

// The largest number of a setting text; what is written larger reads as this.
constexpr unsigned long kMaxSettingNumber = 4294967295UL;

// Reads a decimal number at `text` as the C library's strtoul does where its type has 32 bits: leading blanks
// and a sign are accepted, no digits give 0 and consume nothing, a minus sign takes the negative modulo 2^32
// ("-5" is 4294967291), and a number of 2^32 or more, whatever its sign, is kMaxSettingNumber. `end` is set
// behind the number.
unsigned long readSettingNumber(const char* text, char*& end);

// Reads one number field. `position` moves one character past the number, whatever that character is.
// Always true: a missing number is 0.
bool _get_numeric_data(long& value, const char*& position, char*& end);

// Reads one string field: a length, one separator, that many characters, a closing ":". `budget` starts as
// the whole text's length (or what the caller has left of it) and shrinks by the digits of each length
// prefix and by nothing else, so it is a loose bound: stored texts rely on exactly that. A NUL inside the
// string ends the value. False leaves `value` alone.
bool _get_string_data(std::string& value, const char*& position, char*& end, unsigned& budget);

// The writing side: "%u:" and "%u:TEXT:", appended to `out`.
void appendSettingNumber(std::string& out, unsigned value);
void appendSettingString(std::string& out, std::string_view value);

} // namespace quzo
