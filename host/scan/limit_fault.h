// What is said of a message that is beyond a limit or is none.
#pragma once

#include "host/scan/scan_result.h"
#include "platform/message/mail_message.h"
#include "platform/message/structure/limits.h"

namespace quzo::host {

// What to do about a message that is beyond a limit.
inline constexpr const char* kRaiseLimit = "raise it in [platform] of quzo.ini";

// Of a message that cannot be read, or not to its end: which limit it is beyond, its value, and the key that
// moves it; or that it is no mail (kErrorMalformedEntity).
ScanError limitFault(const platform::MailMessage& msg, const platform::Limits& limits);

} // namespace quzo::host
