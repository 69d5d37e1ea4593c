// Lines of a stamp in the charset in which it will be written: none longer than mail carries.
#pragma once

#include <string>

namespace quzo {

// Divides each line of `text` (UTF-8, lines with CR LF) that has more than `limit` bytes in `charset`, an ICU
// name. A line is divided between two UTF-16 units, wherever that is. Limits of zero and below count as 990.
//
// True when a line was divided; `text` then is the divided text. False when there was nothing to divide, and
// on every failure: a charset that is not known or that writes NUL where a line break begins (utf-16be), a
// text that is no UTF-8 or has characters that the charset lacks, a divided text that takes more room than
// was set aside for it by the charset's widest character. `text` is then untouched.
//
// Each long line, and each piece cut off, is logged at level 1. Linear in the length of a line.
bool divideLongLines(std::string& text, const char* charset, int limit);

} // namespace quzo
