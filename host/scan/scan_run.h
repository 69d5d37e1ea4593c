// One message on its way through the rules.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/scan/limit_guard.h"
#include "host/scan/marked_entities.h"
#include "host/scan/message_facts.h"
#include "host/scan/rule_tokens.h"
#include "host/scan/scan_result.h"
#include "host/scan/scanner.h"

namespace quzo::host {

// Used once, by one thread. All arguments outlive it; exceptions pass through run(), and result() then tells
// what had happened by then.
class ScanRun {
public:
    ScanRun(const Policy& policy, const ScannerOptions& options, platform::MailMessage& msg,
            const ScanJob& job, ScanResult& result);

    void run();

    // Whether an action has taken the message out of delivery.
    bool consumed() const { return consumed_; }

private:
    struct Matched {
        const Rule* rule;
        MarkedEntities marked;
    };
    bool hasEnded();
    std::optional<Matched> nextMatch();
    std::optional<Matched> findMatch();
    bool runRule(const Matched& matched);
    bool runAction(const Rule& rule, const RuleAction& action, QuzoAction* object, RuleResult& report);
    bool afterFailure(const Rule& rule, const RuleAction& action);
    bool prepareForStoring();
    const KvMsgMailMessage* originalMsg();
    void addMark(const char* name);
    bool clearOutsideMarks();
    void finish();
    bool envelopeChanged() const;
    void stopWith(Outcome outcome, ScanError error);

    const Policy& policy_;
    const ScannerOptions& options_;
    platform::MailMessage& msg_;
    const ScanJob& job_;
    ScanResult& result_;
    RuleTokens tokens_;
    MessageFacts facts_;
    LimitGuard limits_;

    std::size_t nextRule_ = 0;  // the first rule whose condition has not been evaluated
    bool allEvaluated_ = false; // pending_ holds all that is still to run
    std::vector<Matched> pending_;
    std::size_t nextPending_ = 0;
    bool consumed_ = false;
    bool ended_ = false;                        // the outcome is decided
    std::optional<std::string> receivedSender_; // the envelope before the first action
    std::vector<std::string> receivedRecipients_;
    std::unique_ptr<platform::MailMessage> original_; // made when an action needs it
};

} // namespace quzo::host
