// Who wants to look on while a message meets the rules.
#pragma once

#include "host/policy/policy.h"
#include "platform/message/mail_message.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// Called by the thread of the scan. It changes nothing of what comes of the message, whatever it does; what
// it throws ends the scan as running out of memory does.
class RuleWatch {
public:
    RuleWatch() = default;
    virtual ~RuleWatch() = default;
    RuleWatch(const RuleWatch&) = delete;
    RuleWatch& operator=(const RuleWatch&) = delete;

    // The first rule is about to be tried. `tokens` holds what is known of the message as a whole.
    virtual void beforeRules(const TokenMap<ScanToken>& tokens, const platform::MailMessage& msg) = 0;

    // The rule has matched, its actions have given the tokens their values, and none of them has run.
    virtual void atRule(const Rule& rule, const TokenMap<ScanToken>& tokens,
                        const platform::MailMessage& msg) = 0;
};

} // namespace quzo::host
