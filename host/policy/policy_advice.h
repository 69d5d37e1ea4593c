// What a policy asks for that will not come about, although nothing in its text is wrong.
#pragma once

#include <string_view>

#include "host/policy/finding.h"
#include "host/policy/policy.h"
#include "platform/queue/queues.h"

namespace quzo::host {

// Warnings, one for each cause, at the first action that is concerned: marks that nobody can see, and queues
// that nobody empties.
Findings adviceOn(const Policy& policy);

// What to tell people about messages that are put into a queue which this build never empties by itself;
// empty for the queues that people look after. The one place that knows of it.
std::string_view waitingNote(platform::QueueKind queue);

} // namespace quzo::host
