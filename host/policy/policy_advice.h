// What a policy asks for that will not come about, or is hardly meant, although nothing in its text is wrong.
#pragma once

#include <string_view>

#include "host/policy/policy.h"
#include "platform/base/finding.h"
#include "platform/queue/queues.h"

namespace quzo::host {

// Warnings in the order of lines: one for each cause, at the first action that is concerned, of marks that
// nobody can see and queues that nobody empties; and the doubts of policy_doubts.h.
//
// `objects` are those that the policy refers to: warnings of them stand at the first action that does. Null:
// none are looked at.
platform::Findings adviceOn(const Policy& policy, const platform::StoredNamedObjects* objects = nullptr);

// What to tell people about messages that are put into a queue which this build never empties by itself;
// empty for the queues that people look after. The one place that knows of it.
std::string_view waitingNote(platform::QueueKind queue);

} // namespace quzo::host
