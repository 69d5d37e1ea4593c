// What an installation does beside messages: it tidies queues up, sums up notifications, and tells the store
// what the policy refers to. See installation.h.
#include <algorithm>
#include <optional>
#include <utility>

#include "host/gateway/installation.h"
#include "host/policy/policy_objects.h"
#include "platform/mta/notice_summary.h"
#include "platform/queue/tidy_turn.h"

namespace quzo::host {
namespace {

using platform::ObjectStore;
using platform::StoreFault;
using platform::StoreTrouble;

bool usesQueues(const Policy& policy) {
    return std::any_of(policy.rules.begin(), policy.rules.end(), [](const Rule& rule) {
        return std::any_of(rule.actions.begin(), rule.actions.end(),
                           [](const RuleAction& action) { return !queuesOf(*action.type).empty(); });
    });
}

} // namespace

MaybeFault Installation::tidyQueuesIfDue(std::time_t now) {
    MaybeFault fault;
    if (usesQueues(snapshot()->policy()) && queues_->startIfDue(now) != 0) {
        fault = Fault::warning("queues", "not everything could be tidied up: see the log");
    }
    if (notices_ != nullptr) {
        // Whatever the policy says by now: what was held back is owed.
        platform::TidyTurn turn(notices_->files(), "notices", notices_->directory());
        if (turn.take(now)) {
            const MaybeFault summaries = sendNoticeSummaries(now);
            turn.finish(now);
            fault = fault ? fault : summaries;
        }
    }
    return fault;
}

MaybeFault Installation::sendNoticeSummaries(std::time_t now) {
    if (notices_ == nullptr) {
        return std::nullopt;
    }
    platform::SummarySender sender{.mailFrom = {}, .hostname = snapshot()->hostname()};
    settings_.getValue("MailFrom", sender.mailFrom, "General-Notification", 0);
    std::size_t composed = 0;
    if (platform::composeDueSummaries(*notices_, *queues_, sender, now, composed) != 0) {
        return Fault::warning("notices", "not all that was held back could be summed up: see the log");
    }
    return std::nullopt;
}

MaybeFault Installation::recordReferences(bool alsoNone) {
    const platform::PlatformSettings platform = settings_.platform();
    if (needs_.policyFile.empty() || platform.store.empty() || (!store_ && !alsoNone)) {
        return std::nullopt;
    }
    std::optional<StoreFault> fault;
    if (!store_) {
        auto opened = ObjectStore::open({.connection = platform.store, .author = {}, .make = false});
        if (opened) {
            store_ = std::move(*opened);
        } else {
            fault = opened.fault();
        }
    }
    if (store_) {
        const auto done = store_->setReferences(tenant(), objectReferences(snapshot()->policy()));
        fault = done ? std::nullopt : std::optional(done.fault());
    }
    if (needs_.store != Needs::Store::Open) {
        store_.reset();
    }
    if (!fault || fault->trouble == StoreTrouble::Absent) {
        return std::nullopt;
    }
    return Fault::warning("store",
                          "the policy's references to objects are not recorded (" + fault->text + ")");
}

} // namespace quzo::host
