// The subject by which people know an entry of a queue.
#pragma once

#include <string>

#include "platform/message/mail_message.h"

namespace quzo::platform {

// The decoded Subject in UTF-8, cut to 512 bytes between two characters; empty when there is none.
std::string shownSubject(MailMessage& msg);

} // namespace quzo::platform
