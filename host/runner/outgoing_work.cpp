// See outgoing_work.h.
#include "host/runner/outgoing_work.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "host/runner/trace_field.h"
#include "platform/queue/queue_split.h"
#include "quzo/core/error_text.h"

namespace quzo::host {

using platform::QueueClaim;
using platform::QueueEntry;
using platform::QueueKind;
using platform::RecipientAnswer;
using platform::SendJob;
using platform::SendResult;
using Fate = RecipientAnswer::Fate;

namespace {

constexpr std::size_t kTogether = 100; // recipients of one transaction: what every server has to take
constexpr std::int64_t kSilence = 60;  // seconds

} // namespace

// What is known of the entry in the course of one attempt.
struct OutgoingWork::Attempt {
    QueueEntry entry;
    std::string reason;   // of the last recipient who waits
    bool changed = false; // the disk does not know it all yet
};

std::optional<platform::NextHop> OutgoingWork::hopOf(const QueueEntry& entry) const {
    if (entry.route && routes_ == Routes::Own) {
        return platform::NextHop{.host = entry.route->host, .port = entry.route->port};
    }
    return nextHop_;
}

SendResult OutgoingWork::send(SendJob& job, std::int64_t now) {
    Silence& silence = silent_[{job.hop.host, job.hop.port}];
    if (now < silence.until) {
        SendResult result;
        result.answers.assign(job.recipients.size(), {Fate::Later, silence.reason});
        return result;
    }
    SendResult result = sender_.send(job);
    if (result.unreachable) {
        silence = {now + kSilence, result.answers.empty() ? std::string() : result.answers.front().text};
    }
    return result;
}

void OutgoingWork::take(const SendResult& result, const std::vector<std::string>& recipients,
                        Attempt& attempt) {
    std::set<std::string_view> served;
    for (std::size_t i = 0; i < recipients.size(); ++i) {
        const RecipientAnswer& answer = result.answers[i];
        if (answer.fate == Fate::Accepted) {
            served.insert(recipients[i]);
        } else if (answer.fate == Fate::Refused) {
            attempt.entry.refused.push_back({recipients[i], answer.text});
            attempt.changed = true;
        } else {
            attempt.reason = answer.text;
        }
    }
    attempt.changed = attempt.changed || !served.empty();
    std::erase_if(attempt.entry.recipients,
                  [&](const std::string& recipient) { return served.contains(recipient); });
}

// The part of an entry that the server refuses goes out of the queue that the entry is in.
int OutgoingWork::split(QueueClaim& claim, std::int64_t now) const {
    return splitRefused(claim, *moves_.queues().find(claim.queue()), *moves_.queues().find(QueueKind::Failed),
                        now);
}

WorkDone OutgoingWork::work(QueueClaim& claim, const std::string& sender, std::int64_t now) {
    Attempt attempt{claim.entry(), {}, false};
    if (attempt.entry.recipients.empty()) {
        return moves_.fail(claim, std::move(attempt.entry), "it has no recipients", now);
    }
    std::vector<std::string> open = notRefused(attempt.entry);
    if (!open.empty() && (!attempt.entry.refused.empty() || !attempt.entry.split.empty())) {
        // A former attempt was cut off; the number of this one tells its own part from the other.
        if (const int error = split(claim, now)) {
            return WorkDone::trouble(error);
        }
        attempt.entry = claim.entry();
    }
    const std::optional<platform::NextHop> hop = hopOf(attempt.entry);
    if (!hop) {
        return WorkDone::trouble(kErrorNotSupported);
    }
    attempt.entry.attempts += open.empty() ? 0 : 1;
    SendJob job{
        *hop, sender, {}, behindField(traceField(hostname_, claim.id(), now), moves_.messageOf(claim))};
    for (std::size_t at = 0; at < open.size(); at += kTogether) {
        const std::size_t end = std::min(at + kTogether, open.size());
        job.recipients.assign(open.begin() + static_cast<std::ptrdiff_t>(at),
                              open.begin() + static_cast<std::ptrdiff_t>(end));
        take(send(job, now), job.recipients, attempt);
        if (attempt.changed && end < open.size()) {
            if (const int error = claim.update(attempt.entry)) {
                return WorkDone::trouble(error);
            }
            attempt.changed = false;
        }
    }
    return finish(claim, attempt, now);
}

WorkDone OutgoingWork::finish(QueueClaim& claim, Attempt& attempt, std::int64_t now) {
    QueueEntry& entry = attempt.entry;
    if (entry.recipients.empty()) {
        const int error = claim.remove();
        return error != kErrorNone ? WorkDone::trouble(error) : WorkDone{};
    }
    const bool waiting = !notRefused(entry).empty();
    const std::string refusals = refusalText(entry);
    if (!waiting || moves_.givesUp(entry, now)) {
        // First of all, who has it: the move takes a moment.
        if (const int error = attempt.changed ? claim.update(entry) : int{kErrorNone}) {
            return WorkDone::trouble(error);
        }
        return waiting ? moves_.later(claim, std::move(entry), attempt.reason, now)
                       : moves_.fail(claim, std::move(entry), refusals, now);
    }
    const bool some = !entry.refused.empty();
    WorkDone done = moves_.later(claim, std::move(entry), attempt.reason, now);
    if (some && done.kind == WorkDone::Kind::Later) {
        if (const int error = split(claim, now)) {
            return WorkDone::trouble(error);
        }
        done.text += " (others are refused: " + refusals + ")";
    }
    return done;
}

} // namespace quzo::host
