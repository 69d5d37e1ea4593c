// Text for looking at that is always valid UTF-8, whatever bytes come in.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// Reads `bytes` as text of `charset` (empty: not known). Bytes that are none of it become U+FFFD. Text
// of no known charset, or of us-ascii with 8-bit bytes, is read as UTF-8 when it is that, else as
// windows-1252. NUL becomes U+FFFD too, so that the result can be passed as a C string.
std::string readableText(std::string_view bytes, const std::string& charset);

// Reads a raw field value so, unfolded and with its encoded words decoded, those of unknown charsets and of
// broken bytes too: what somebody looks for is found whatever is wrong with the word it stands in.
std::string readableValue(std::string_view rawValue);

} // namespace quzo::platform
