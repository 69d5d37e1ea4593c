// Conversions between charsets, on ICU.
//
// Converters are opened once per thread and charset and kept. Names are those of mail: labels that
// stand for a wider charset in real mail (gb2312, ks_c_5601-1987, iso-8859-11, ...) decode as the wider one
// and encode strictly, so that what is written can be read by everybody:
//
//   label                     decodes as      encodes
//   gb2312, gbk               gb18030         gb2312, gbk
//   euc-kr, ks_c_5601-1987    windows-949     euc-kr
//   iso-8859-1                as it says, the controls 80 to 9F included; encodes alike, so raw bytes stay
//   iso-8859-11, tis-620      windows-874     iso-8859-11, tis-620
//   shift_jis, iso-2022-jp    with NEC's and IBM's additions and halfwidth katakana; encode alike
//   iso-10646-ucs-2           utf-16          big-endian, no byte order mark, no surrogates
//   hz-gb-2312                as it says      ASCII only
//
// utf-16 without a byte order mark is read in the order that gives plausible text, in little-endian order
// when both do.
//
// Functions may be called from any thread. They report by their result and let only std::bad_alloc pass.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// What to do with a character that the target charset does not have. What cannot be read in the source
// charset (malformed or cut sequences, codes that stand for no character) is an error always: nothing of a
// text is lost because it was taken for one of another charset.
enum class Unmappable { Fail, Substitute };

// Converts `in` and replaces `out`. `substitute` is an ASCII character. `maxBytes` cuts the result between
// two characters (in a stateful charset with room for the closing shift); what lies behind the cut is not
// looked at. Returns 0 or a KvMsgError: kErrorUnknownCharset, kErrorMalformedText, kErrorUnmappable; on
// error `out` may hold anything. `in` must not be part of `out`.
int convert(std::string_view in, const char* from, const char* to, Unmappable mode, char substitute,
            std::string& out, std::size_t maxBytes = std::string::npos);

// Decodes `in` to UTF-8 for reading: every sequence that cannot be read becomes U+FFFD, so only an unknown
// charset is an error, and iso-8859-1 is read as windows-1252, which is what mail means by it. Replaces
// `out`, at most `maxBytes` of it.
int decodeLeniently(std::string_view in, const char* from, std::string& out,
                    std::size_t maxBytes = std::string::npos);

// Whether a converter of that name exists. Null and empty names are unknown.
bool knownCharset(const char* name);

// Whether both names are known and mean the same charset.
bool sameCharset(const char* a, const char* b);

// Whether an ASCII byte between two whole characters stands for itself in that charset, so that ASCII text
// can be put before or behind text in it (not so for utf-16, utf-7, iso-2022-*, hz). The second byte of a
// character may look like ASCII all the same (shift_jis, big5, gb18030), never below 0x30. False for unknown
// names.
bool asciiCompatible(const char* name);

// Whether text in that charset is a C string that can begin with printable ASCII as it is: the case for every
// superset of printable ASCII, and for the iso-2022 family, whose texts begin in ASCII; not for utf-16 and
// utf-32, EBCDIC, utf-7, hz and scsu. False for unknown names.
bool holdsAscii(const char* name);

} // namespace quzo::platform
