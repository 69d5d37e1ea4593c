// Whom the notifications of a rule leave out.
#pragma once

#include <string>

#include "host/policy/policy.h"
#include "host/scan/received_header.h"
#include "quzo/core/named_obj_cache.h"

namespace quzo::host {

// Has the templates of the rule's notify actions leave out the message's sender when the message is automatic
// or bulk mail; said at level 2. `objects` are those of this one message. `sender` and `header` are as
// received. Throws std::bad_alloc.
void spareAutomaticSender(const Rule& rule, const NamedObjMgrForScanner& objects, const std::string& sender,
                          const ReceivedHeader& header);

} // namespace quzo::host
