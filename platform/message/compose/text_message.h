// A message of our own that is nothing but text.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/compose/own_header.h"

namespace quzo::platform {

// A text/plain message in UTF-8, whose lines end in CRLF. `text` is UTF-8 in lines that end in '\n'. Throws
// nothing but std::bad_alloc.
std::string textMessage(const OwnHeader& header, std::string_view text);

} // namespace quzo::platform
