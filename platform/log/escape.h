// Making a text safe to show in one line.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// The text as one line of valid UTF-8: each byte of a control character (C0, DEL, C1), of a Unicode line or
// paragraph separator, of a character that turns the writing direction, and each byte that is not UTF-8
// becomes \xNN. So no text from a message can begin a new line or repaint an old one.
std::string escapeForLog(std::string_view text);

} // namespace quzo::platform
