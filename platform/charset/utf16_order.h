// Telling the byte order of UTF-16 text that does not say it.
#pragma once

#include <string_view>

namespace quzo::platform {

// Whether the text begins with a byte order mark.
bool hasUtf16Mark(std::string_view text);

// Whether a text in UTF-16 without a mark reads better in little-endian order than in big-endian order. True
// when both read equally well. Looks at the beginning of the text; reads any bytes.
bool isLittleEndian(std::string_view text);

} // namespace quzo::platform
