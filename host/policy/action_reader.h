// Reads the actions of a rule.
#pragma once

#include <string>
#include <vector>

#include "host/policy/policy.h"
#include "host/policy/policy_objects.h"
#include "host/policy/toml_reading.h"

namespace quzo::host {

// The actions of a rule from its `actions` list. Every setting text has been made and has come back equal
// from the action itself; what has not is a fault and left out.
std::vector<RuleAction> readActions(const toml::node& node, const std::string& where,
                                    const ObjectLookup& lookup, FaultList& faults);

} // namespace quzo::host
