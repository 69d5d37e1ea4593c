// Text helpers that the platform provides.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quzo {

// Converts the NUL-terminated `source` from `sourceCharset` into `target`, always NUL-terminated.
//
//   length      in: the room of `target` in bytes, without the NUL, so the buffer has one byte more;
//               out: the bytes written, without the NUL. Untouched on failure.
//   flag        0: a character that `targetCharset` lacks is an error; 1: it becomes `substitute`
//   substitute  an ASCII character
//
// Bytes that are no text of `sourceCharset` are an error with either flag: nothing of a text that
// cannot be read is silently replaced. A target that is too small is no error: the text is cut between
// two characters. Returns 0 or an error number (KvMsgError).
//
// What is written is a C string that printable ASCII text is part of as it is, so a target charset whose text
// is none (utf-16, utf-32, iso-10646-ucs-2, EBCDIC, utf-7) is refused.
int KvMsg_CharsetConverterString(const char* source, const char* sourceCharset, char* target,
                                 const char* targetCharset, std::size_t* length, int flag, char substitute);

// Splits `text` at each of the characters in `delimiters`. Each delimiter ends a part, so empty parts between
// two of them are kept, and one at the very end opens no further part: "a;;b;" has the parts "a", "" and "b".
// An empty text has none. `parts` is replaced.
void tokenize(const std::string& text, std::vector<std::string>& parts, const std::string& delimiters);

// Compares at most `n` bytes without regard to the case of ASCII letters, as strncasecmp in the "C"
// locale does.
int platform_icasencmp(const char* a, const char* b, unsigned n);

} // namespace quzo
