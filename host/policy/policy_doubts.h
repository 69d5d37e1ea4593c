// What looks like a mistake in a policy that can be used all the same.
#pragma once

#include "host/policy/policy.h"
#include "platform/base/finding.h"

namespace quzo::host {

// Warnings of rules that no message reaches, and of words in tags that look like tokens and are none.
platform::Findings doubtsOf(const Policy& policy);

// Whether the condition holds for every message, as far as it can be seen without one.
bool holdsAlways(const Condition& condition);

} // namespace quzo::host
