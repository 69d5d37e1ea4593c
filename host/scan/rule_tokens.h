// The token values that the host itself fills in.
#pragma once

#include <string>

#include "host/policy/policy.h"
#include "host/scan/marked_entities.h"
#include "host/scan/received_header.h"
#include "host/scan/scanner.h"
#include "platform/message/mail_message.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// Keeps one message's token map in step with the rule at work. Values are worked out only when a rule with
// actions has matched, and are always valid UTF-8. What the map holds when the object is made is the
// caller's: such a value stays for the message as a whole, and comes back before each rule where rules have
// values of their own.
class RuleTokens {
public:
    // All arguments outlive the object.
    RuleTokens(TokenMap<ScanToken>& tokens, platform::MailMessage& msg, const ScannerOptions& options,
               const std::string& firstIdentifier);

    // The value of a token as conditions see it, before any rule has run; null when there is none. Holds
    // until the next call.
    const std::string* valueForCondition(ScanToken code, const ReceivedHeader& header);

    // Removes the values of the former rule and puts in those of this one.
    void beginRule(const Rule& rule, const MarkedEntities& marked, const ReceivedHeader& header);

    // Adds an action that was carried out to the lists of actions taken.
    void actionTaken(QuzoAction::ActionType type);

private:
    void removeFormerRule();
    void setMessageValues(const ReceivedHeader& header);
    void setMarked(const MarkedEntities& marked);
    void setUnlessGiven(ScanToken code, std::string value);

    TokenMap<ScanToken>& tokens_;
    platform::MailMessage& msg_;
    const ScannerOptions& options_;
    const std::string& firstIdentifier_;
    TokenMap<ScanToken> given_; // the caller's values
    bool prepared_ = false;     // the message's values have been set for the conditions
};

} // namespace quzo::host
