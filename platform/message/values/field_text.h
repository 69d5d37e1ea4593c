// The text of a header field as it is written: what a name and a value may hold, and how the two are
// joined. Whatever a caller passes, one field stays one field.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// Whether the name may stand before a colon: one or more characters from 33 to 126, no colon.
bool validFieldName(std::string_view name);

// A raw value that cannot end its field: a line break at the very end is dropped (the field brings its
// own), one that a blank or tab and something visible follow is a legal fold and stays, and every other
// CR, LF and NUL becomes a blank.
std::string neutralised(std::string_view value);

// The same for a text that is to stand on one line: folds become blanks too.
std::string onOneLine(std::string_view value);

// The blanks that stand between the colon and the value in a field's raw rest, for a new value to stand
// behind: " " when a value begins on the next line or when there was nothing behind the colon.
std::string_view separatorOf(std::string_view rawValue);

// `value`, which is in `charset` (null or empty: raw bytes), as it is to stand in a field whose first
// line begins with `firstColumn` bytes. Returns 0 or a KvMsgError.
int writtenValue(std::string_view value, const char* charset, std::size_t firstColumn,
                 std::string_view lineBreak, std::string& out);

} // namespace quzo::platform
