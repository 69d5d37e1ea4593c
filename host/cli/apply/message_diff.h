// What changed in a message, line by line.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/mail_message.h"

namespace quzo::host {

// The changes in the form of a unified diff with three lines of context, for reading and not for patching:
// control characters are escaped, a line ending is shown where it is not that of the message's first line,
// and very long lines are cut. Empty when nothing changed. Costs one pass over the message and the output.
std::string messageDiff(const platform::MailMessage& msg, std::string_view file, bool colours);

} // namespace quzo::host
