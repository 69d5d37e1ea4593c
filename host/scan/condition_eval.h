// Whether a condition holds for a message.
#pragma once

#include "host/policy/condition.h"
#include "host/scan/marked_entities.h"
#include "host/scan/message_facts.h"

namespace quzo::host {

bool holds(const Condition& condition, MessageFacts& facts);

// What the attachment and content_type conditions below a condition that holds have matched. What stands
// inside a `not` marks nothing.
MarkedEntities markedEntities(const Condition& condition, MessageFacts& facts);

} // namespace quzo::host
