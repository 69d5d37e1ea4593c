// Text that is always valid UTF-8, whatever bytes come in.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// Reads `bytes` as text of `charset` (empty: not known). Bytes that are none of it become U+FFFD. Text
// of no known charset, or of us-ascii with 8-bit bytes, is read as UTF-8 when it is that, else as
// windows-1252. NUL becomes U+FFFD too, so that the result can be passed as a C string.
std::string readableText(std::string_view bytes, const std::string& charset);

} // namespace quzo::platform
