// What stands in a message where an attachment was removed.
#pragma once

#include <string>

#include "host/policy/policy.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// Whether the action, or one of the rule, removes parts.
bool removesParts(const RuleAction& action);
bool removesParts(const Rule& rule);

// The text for parts that a rule removes, for MailMessage::setRemovalNote(): in the language of the
// installation, with the rule's name and, if another scanner found one, the virus's. UTF-8, one line.
// Throws std::bad_alloc.
std::string removalText(const Rule& rule, const TokenMap<ScanToken>& tokens);

} // namespace quzo::host
