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

// Unfolds a raw value (what stands behind the colon, line break included or not, the blanks around it
// dropped) and decodes its encoded words. The bytes of adjacent words are joined before anything
// interprets them, since real mailers split characters between words, and the blanks between adjacent
// words are dropped. Words of one charset, and plain ASCII around them, come back in that charset, when
// it is ASCII-compatible or the words are all there is; anything else as "utf-8", utf-16 and its like
// always. When that conversion fails because bytes are malformed, the value comes back as its words' bytes
// with the first word's charset.
//
// A charset that is not known is named all the same when it is that of every word. Beside words of other
// charsets its words stay as they are written, like text that is none.
//
// Raw 8-bit text beside the words is taken to be in their charset when that is a multibyte one and the text
// is well-formed in it; else as UTF-8 when it is that; else in the words' charset.
//
// What is taken for a word is what real mail has: words inside or against other text, blanks in Q text,
// missing padding, words of any length.
DecodedValue decodeWords(std::string_view rawValue);

// Writes `value`, which is in `charset`, as a field value: plain ASCII words as they are, the rest as
// encoded words of at most 75 characters that never split a character, lines folded at 76 where a blank
// allows it. `firstColumn` is how much of the first line is taken (name, colon and the blank behind it),
// `lineBreak` the line end to fold with; an empty one: words are separated by a blank and nothing is
// folded. Decoding the result gives `value` back, blanks included. Never writes a line break of the value
// as it is: control characters are encoded.
//
// The words are in `charset`, except for charsets that cannot be used in words (utf-16 and utf-32, and
// those with shift sequences other than iso-2022-jp), which are written as utf-8. In utf-16 and its like a
// value of ASCII bytes without NUL is taken as ASCII.
//
// Returns 0 or a KvMsgError: unknown charset, malformed bytes, kErrorLimit above kMaxEncodedValue bytes.
constexpr std::size_t kMaxEncodedValue = std::size_t{4} << 20U;
int encodeWords(std::string_view value, const char* charset, std::size_t firstColumn,
                std::string_view lineBreak, std::string& out);

// The same with nothing left plain: the whole value as encoded words, separated by one blank. A value of
// printable ASCII that does not look like an encoded word comes back as it is.
int encodeAsWords(std::string_view value, const char* charset, std::string& out);

} // namespace quzo::platform
