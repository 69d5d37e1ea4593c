// Header fields that stages of this system write for each other, and what may be believed of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/policy/policy.h"
#include "host/scan/received_header.h"
#include "platform/message/mail_message.h"

namespace quzo::host {

// Whether fields can be taken off and written: the message has a header that can be read, within its limits.
bool canBeChanged(platform::MailMessage& msg);

// Whether the message was received with the policy's mark field. Of a header that cannot be read every line
// counts that looks like it.
bool bearsMarkField(platform::MailMessage& msg, const Policy& policy, const ReceivedHeader& received);

// Takes the reprocessing fields, and the policy's mark field, off the message's own header. Only fields that
// the message was received with are looked for. False when the mark field may still be there: the header
// cannot be changed, or memory ran out.
bool removeOutsideMarks(platform::MailMessage& msg, const Policy& policy, const ReceivedHeader& received);

// Takes the reprocessing fields off, whoever wrote them: for a message that leaves.
void removeReprocessMarks(platform::MailMessage& msg);

// Writes the marks into the policy's mark field, joined by ", ", in place of what it holds. True also when
// there is nothing to write.
bool writeMarks(platform::MailMessage& msg, const Policy& policy, const std::vector<std::string>& marks);

// The known marks that the policy's mark field of a received message names, in their order.
std::vector<std::string> receivedMarks(const Policy& policy, const ReceivedHeader& received);

} // namespace quzo::host
