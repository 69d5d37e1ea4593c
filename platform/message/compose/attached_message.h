// A message in a message of our own: how mail is handed over without being delivered as it is.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/compose/own_header.h"

namespace quzo::platform {

// A multipart/mixed message of `text` and of `message` as a message/rfc822 part, whose body has exactly those
// bytes, whatever they are. `text` is printable ASCII in lines that end in '\n'. Line ends are those of the
// message's first line. Throws nothing but std::bad_alloc.
std::string attachedMessage(const OwnHeader& header, std::string_view text, std::string_view message);

} // namespace quzo::platform
