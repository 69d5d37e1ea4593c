// Whether a message was written by a program, or for many: an answer to its sender would reach nobody, or
// come back.
#pragma once

#include <string_view>

#include "host/scan/received_header.h"

namespace quzo::host {

// What shows that it is automatic or bulk mail, as a text for the log in static storage; empty when nothing
// does. `sender` is that of the envelope, empty for the null sender. Fields count as RFC 3834 has them, and
// as list managers and mailers write them.
std::string_view signOfAutomatic(std::string_view sender, const ReceivedHeader& header);

} // namespace quzo::host
