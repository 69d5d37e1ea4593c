// Encoded words (RFC 2047, with the language suffix of RFC 2231): between a raw field value and bytes in
// a charset.
//
// Time and memory are linear in the value. Functions may be called from any thread and let only
// std::bad_alloc pass.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

struct DecodedValue {
    std::string bytes;   // may hold NUL and control characters: whatever the words say
    std::string charset; // lower case, without a language suffix; empty when there was no encoded word
};

// The charset to read raw 8-bit text in: "utf-8" when it is that, else `likely` when it can be read in it and
// holdsAscii(), else "windows-1252", in which every byte is a character.
std::string charsetOfRawText(std::string_view bytes, const std::string& likely);

// Unfolds a raw value (what stands behind the colon, line break included or not, the blanks around it
// dropped) and decodes its encoded words. The bytes of adjacent words are joined before anything
// interprets them, since real mailers split characters between words, and the blanks between adjacent
// words are dropped. Words of one charset, and plain ASCII around them, come back in that charset, when
// it is ASCII-compatible, or holdsAscii() and the words are all there is; anything else comes as "utf-8".
// The bytes are text in the charset that is returned.
//
// Words that cannot be read, because their charset is not known or their bytes are none of it, are text like
// any other and stay as they are written.
//
// Raw 8-bit text beside the words is taken to be in their charset when that is a multibyte one and the text
// is well-formed in it; else as UTF-8 when it is that; else in the words' charset when it is text in it; else
// by charsetOfRawText() with `rawCharset` as the likely one.
//
// What is taken for a word is what real mail has: words inside or against other text, blanks in Q text,
// missing padding, words of any length.
DecodedValue decodeWords(std::string_view rawValue, const std::string& rawCharset = {});

// Writes `value`, which is in `charset`, as a field value: plain ASCII words as they are, the rest as
// encoded words of at most 75 characters that never split a character, lines folded at 76 where a blank
// allows it. Encoded words in the value that decodeWords() cannot read are left as they are. `firstColumn`
// is how much of the first line is taken (name, colon and the blank behind it), `lineBreak` the line end to
// fold with; an empty one: words are separated by a blank and nothing is folded. Decoding the result gives
// `value` back, blanks included. Never writes a line break of the value as it is: control characters are
// encoded.
//
// The words are in `charset`, except for charsets that cannot be used in words (utf-16 and utf-32, those
// with shift sequences other than iso-2022-jp, those without a name that may stand in a word), which are
// written as utf-8. In utf-16 and its like a value of ASCII bytes without NUL is taken as ASCII.
//
// Returns 0 or a KvMsgError: unknown charset, malformed bytes, kErrorLimit above kMaxEncodedValue bytes.
constexpr std::size_t kMaxEncodedValue = std::size_t{4} << 20U;
int encodeWords(std::string_view value, const char* charset, std::size_t firstColumn,
                std::string_view lineBreak, std::string& out);

// A UTF-8 text for a place that takes no escapes, such as between quotation marks: as it is when it is
// printable ASCII without '"' and '\' and does not look like an encoded word; else the whole of it as encoded
// words, separated by one blank. Their charset is `charset`, or utf-8 when that lacks a character of the text
// or cannot be used in words.
//
// Returns 0 or a KvMsgError: unknown charset, malformed UTF-8, kErrorLimit above kMaxEncodedValue bytes.
int encodeAsWords(std::string_view utf8, const char* charset, std::string& out);

} // namespace quzo::platform
