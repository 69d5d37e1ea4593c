// The order of things for one message. Conditions see it as it was received: the first rule that may change
// it is preceded by evaluating the conditions of all rules that may still run, so nothing has to be parsed a
// second time and the entities that were matched are those of the message itself. While rules only look, or
// take the message away, they are evaluated one after the other and no further than needed.
#include "host/scan/scan_run.h"

#include <algorithm>

#include "host/scan/condition_eval.h"
#include "host/scan/notified_sender.h"
#include "host/scan/outside_marks.h"
#include "host/scan/removal_text.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::host {
namespace {

class NoNamedObjects final : public NamedObjMgrForScanner {
public:
    QuzoNamedObj* find(unsigned /*id*/) const override { return nullptr; }
};

const NoNamedObjects kNoNamedObjects;

std::string placeOf(const Rule& rule, const RuleAction& action) {
    return "rule " + std::to_string(rule.id) + " (" + rule.name + "), action " + action.type->name;
}

} // namespace

ScanRun::ScanRun(const Policy& policy, const ScannerOptions& options, platform::MailMessage& msg,
                 const ScanJob& job, ScanResult& result)
    : policy_(policy),
      options_(options),
      msg_(msg),
      job_(job),
      result_(result),
      tokens_(job.tokens, msg, options, job.firstIdentifier),
      facts_(msg, policy, options.limits, tokens_),
      limits_(msg, options, result) {}

void ScanRun::run() {
    if (limits_.rulesCanRun(job_.beyondLimit)) {
        if (job_.watch != nullptr) {
            tokens_.valueForCondition(ScanToken::Sender, facts_.receivedHeader()); // with it comes the rest
            job_.watch->beforeRules(job_.tokens, msg_);
        }
        while (const std::optional<Matched> matched = nextMatch()) {
            if (!runRule(*matched)) {
                break;
            }
        }
    }
    if (!hasEnded()) {
        finish();
    }
}

// At a limit, or by a failure.
bool ScanRun::hasEnded() {
    if (limits_.end() && !ended_) {
        stopWith(limits_.end()->outcome, limits_.end()->error);
    }
    return ended_;
}

// The next rule whose condition holds. Entities are collected with it, while the message is unchanged.
std::optional<ScanRun::Matched> ScanRun::findMatch() {
    while (nextRule_ < policy_.rules.size()) {
        const Rule& rule = policy_.rules[nextRule_++];
        const auto& skipped = job_.skipRules;
        if (std::find(skipped.begin(), skipped.end(), rule.id) != skipped.end()) {
            continue;
        }
        const bool matches = holds(rule.when, facts_);
        limits_.lookedAt(facts_);
        if (hasEnded()) {
            return std::nullopt;
        }
        if (!matches) {
            continue;
        }
        Matched matched{&rule, {}};
        if (rule.when.marksEntities && !rule.actions.empty()) {
            matched.marked = markedEntities(rule.when, facts_);
        }
        return matched;
    }
    return std::nullopt;
}

std::optional<ScanRun::Matched> ScanRun::nextMatch() {
    if (!allEvaluated_) {
        std::optional<Matched> matched = findMatch();
        if (!matched) {
            return std::nullopt;
        }
        // A rule's tokens show in conditions as well as its changes.
        if (!matched->rule->mayChange && !policy_.usesTokens) {
            return matched;
        }
        allEvaluated_ = true;
        bool last = matched->rule->stop;
        pending_.push_back(std::move(*matched));
        while (!last && (matched = findMatch())) {
            last = matched->rule->stop;
            pending_.push_back(std::move(*matched));
        }
    }
    if (ended_ || nextPending_ == pending_.size()) {
        return std::nullopt;
    }
    return std::move(pending_[nextPending_++]);
}

// False when no further rule is to be tried.
bool ScanRun::runRule(const Matched& matched) {
    const Rule& rule = *matched.rule;
    RuleResult& report = result_.rules.emplace_back();
    report.id = rule.id;
    report.name = rule.name;
    if (rule.actions.empty()) {
        return !rule.stop;
    }
    if (!receivedSender_) {
        receivedSender_ = msg_.sender();
        receivedRecipients_ = msg_.recipients();
    }
    tokens_.beginRule(rule, matched.marked, facts_.receivedHeader());

    const NamedObjMgrForScanner& objects =
        job_.namedObjects != nullptr ? *job_.namedObjects : kNoNamedObjects;
    if (!options_.notifyAutomatic) {
        spareAutomaticSender(rule, objects, *receivedSender_, facts_.receivedHeader());
    }
    std::vector<std::unique_ptr<QuzoAction>> actions;
    for (const RuleAction& action : rule.actions) {
        actions.push_back(makeAction(*action.type, action.setting));
    }
    // From the last to the first: of several that give a token a value, the first is the one to be carried
    // out.
    for (auto action = actions.rbegin(); action != actions.rend(); ++action) {
        if (*action != nullptr) {
            (*action)->fillInTokenMap(job_.tokens, objects);
        }
    }
    if (options_.removalNote && removesParts(rule)) {
        msg_.setRemovalNote(removalText(rule, job_.tokens));
    }
    if (job_.watch != nullptr) {
        job_.watch->atRule(rule, job_.tokens, msg_);
    }
    for (std::size_t i = 0; i < actions.size(); ++i) {
        if (!runAction(rule, rule.actions[i], actions[i].get(), report)) {
            return false;
        }
    }
    return !consumed_ && !rule.stop;
}

// False when nothing more is to be done with the message.
bool ScanRun::runAction(const Rule& rule, const RuleAction& action, QuzoAction* object, RuleResult& report) {
    ActionResult& done = report.actions.emplace_back();
    done.type = action.type->name;
    if (consumed_ && action.type->canConsume) {
        done.skipped = true;
        result_.warnings.push_back(placeOf(rule, action) + ": skipped, the message is gone already");
        ActionLog::L2("%s", result_.warnings.back().c_str());
        return true;
    }
    if (object == nullptr || (action.type->stores && !prepareForStoring())) {
        return afterFailure(rule, action);
    }
    const NamedObjMgrForScanner& objects =
        job_.namedObjects != nullptr ? *job_.namedObjects : kNoNamedObjects;
    const KvMsgMailMessage* original = object->requiresOriginalMsg() ? originalMsg() : nullptr;
    bool taken = false;
    // Its own values must stand while it works, also after another one that failed: they are what is
    // recorded.
    object->fillInTokenMap(job_.tokens, objects);
    done.ok = object->takeAction(&msg_, original, taken, job_.tokens, job_.adapter, objects);
    if (!consumed_ && !(done.ok && taken)) {
        limits_.acted(action, done.ok);
        if (hasEnded()) {
            return false;
        }
    }
    if (!done.ok) {
        // Also when the flag was set: the message is still ours.
        return afterFailure(rule, action);
    }
    done.consumed = taken;
    consumed_ = consumed_ || taken;
    tokens_.actionTaken(action.type->type);
    if (action.type->isMark) {
        addMark(action.type->name);
    }
    return true;
}

bool ScanRun::afterFailure(const Rule& rule, const RuleAction& action) {
    const std::string text = placeOf(rule, action) + " failed";
    ActionLog::L1("%s.", text.c_str());
    result_.warnings.push_back(text);
    if (consumed_ || action.onFailure == OnFailure::Continue) {
        return true;
    }
    if (action.onFailure == OnFailure::Defer) {
        stopWith(Outcome::Deferred, {kErrorInternal, text});
    }
    return false;
}

// What is stored leaves this pass: it carries our marks and nobody else's.
bool ScanRun::prepareForStoring() {
    return (job_.trustMarks || removeOutsideMarks(msg_, policy_, facts_.receivedHeader())) &&
           writeMarks(msg_, policy_, result_.marks);
}

const KvMsgMailMessage* ScanRun::originalMsg() {
    if (original_ == nullptr) {
        original_ =
            platform::MailMessage::parse(std::string(msg_.original()), options_.limits, options_.rawValues);
        original_->setIdentifier(msg_.getIdentifier());
        original_->setEnvelope(*receivedSender_, receivedRecipients_);
    }
    return original_.get();
}

void ScanRun::addMark(const char* name) {
    if (std::find(result_.marks.begin(), result_.marks.end(), name) == result_.marks.end()) {
        result_.marks.emplace_back(name);
    }
}

void ScanRun::finish() {
    if (consumed_) {
        result_.outcome = Outcome::Consumed;
        return;
    }
    if (job_.trustMarks && !result_.marks.empty()) {
        for (const std::string& mark : receivedMarks(policy_, facts_.receivedHeader())) {
            addMark(mark.c_str());
        }
    }
    if (!job_.trustMarks && !clearOutsideMarks()) {
        stopWith(canBeChanged(msg_) ? Outcome::Deferred : Outcome::Failed,
                 {kErrorMalformedEntity,
                  "it has a field " + policy_.defaults.markHeader + " that cannot be taken off"});
        return;
    }
    if (msg_.changed()) {
        removeReprocessMarks(msg_); // a failed action may have left one
    }
    // A later stage that cannot see its mark would leave undone what the policy asks for.
    if (!writeMarks(msg_, policy_, result_.marks)) {
        stopWith(Outcome::Deferred, {kErrorInternal, "the marks cannot be written into the message"});
        return;
    }
    result_.envelopeChanged = envelopeChanged();
    result_.outcome = msg_.changed() || result_.envelopeChanged ? Outcome::Modified : Outcome::Unchanged;
}

// Takes forged fields off a message that goes on. The mark field goes in any case, since the next hop
// believes it; the reprocessing fields, which count for nothing outside, only from what is written anew
// anyway.
bool ScanRun::clearOutsideMarks() {
    const bool marking = !policy_.defaults.markHeader.empty();
    const bool touched =
        msg_.changed() ||
        (marking && (!result_.marks.empty() || bearsMarkField(msg_, policy_, facts_.receivedHeader())));
    return !touched || removeOutsideMarks(msg_, policy_, facts_.receivedHeader());
}

bool ScanRun::envelopeChanged() const {
    return receivedSender_ && (msg_.sender() != *receivedSender_ || msg_.recipients() != receivedRecipients_);
}

void ScanRun::stopWith(Outcome outcome, ScanError error) {
    ended_ = true;
    result_.outcome = outcome;
    result_.error = std::move(error);
}

} // namespace quzo::host
