// What becomes of a message that is beyond a limit, or is none: what the setting on_limit says, as soon as
// somebody has run into it. A limit that nobody ran into changes no answer.
#pragma once

#include <optional>
#include <string>

#include "host/policy/policy.h"
#include "host/scan/message_facts.h"
#include "host/scan/scan_result.h"
#include "host/scan/scanner.h"
#include "platform/message/mail_message.h"

namespace quzo::host {

// For one message and one thread; all arguments outlive it. What lets a message go on that was not looked at
// as a whole becomes a warning of the result, once.
class LimitGuard {
public:
    LimitGuard(platform::MailMessage& msg, const ScannerOptions& options, ScanResult& result)
        : msg_(msg), options_(options), result_(result) {}

    // How the message ends; none: it may go on.
    struct End {
        Outcome outcome;
        ScanError error;
    };
    const std::optional<End>& end() const { return end_; }

    // Before the first rule. `beyondLimit`: what the host has found, or empty. False when no rule can be
    // tried. Throws std::bad_alloc when the message could not be looked at for lack of memory.
    bool rulesCanRun(const std::string& beyondLimit);

    // Behind a condition.
    void lookedAt(const MessageFacts& facts);

    // Behind an action that has not taken the message.
    void acted(const RuleAction& action, bool ok);

private:
    void runInto(const ScanError& error);

    platform::MailMessage& msg_;
    const ScannerOptions& options_;
    ScanResult& result_;
    std::optional<End> end_;
    bool told_ = false; // of the entities
};

} // namespace quzo::host
