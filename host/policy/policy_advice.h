// What a policy asks for that will not come about, or is hardly meant, although nothing in its text is wrong.
#pragma once

#include "host/policy/policy.h"
#include "platform/base/finding.h"
#include "platform/store/stored_named_objects.h"

namespace quzo::host {

// Warnings in the order of lines: one for each cause, at the first action that is concerned, of marks that
// nobody can see and of mail that has no server to go to; and the doubts of policy_doubts.h.
//
// `hasNextHop`: whether the settings name a server for what leaves without one of its own.
//
// `objects` are those that the policy refers to: warnings of them stand at the first action that does. Null:
// none are looked at.
platform::Findings adviceOn(const Policy& policy, bool hasNextHop,
                            const platform::StoredNamedObjects* objects = nullptr);

} // namespace quzo::host
