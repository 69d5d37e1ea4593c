// Working the queues off: what is due is delivered, passed through the policy again, or let go on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/base/fault.h"
#include "host/gateway/snapshot.h"
#include "host/runner/clock.h"
#include "host/runner/entry_moves.h"
#include "host/runner/outgoing_work.h"
#include "host/runner/retry_plan.h"
#include "host/runner/scan_work.h"
#include "platform/mta/smtp/mail_sender.h"
#include "platform/queue/queues.h"

namespace quzo::host {

// What a pass over a queue came to, in entries.
struct RunFigures {
    std::size_t gone = 0;    // delivered, or moved on
    std::size_t failed = 0;  // now in the failed queue
    std::size_t later = 0;   // tried, and to be tried again
    std::size_t waiting = 0; // not due yet
    std::size_t busy = 0;    // somebody else is working on them
};

// For one thread. Any number of runners, of several processes too, may work on the same queues: each entry is
// claimed by one. References outlive it.
class QueueRunner {
public:
    struct Parts {
        platform::Queues& queues;
        platform::MailSender& sender;
        Clock& clock;
        RetryPlan plan;
        std::string hostname; // under which this host passes mail on
        std::optional<platform::NextHop>
            nextHop; // none: entries without a server of their own stay untouched
        std::optional<platform::NextHop>
            rescanHop; // the server that the scan queue goes to; none: it is passed through the policy here
        std::function<std::shared_ptr<const Snapshot>()> snapshot; // for the scan queue; asked for each entry
        std::function<bool()> stopping;                            // between two entries: whether to end
        // Told of each entry that was worked on, and of faults, each once; both may be null.
        std::function<void(platform::QueueKind, const std::string& id, const WorkDone&)> told;
        std::function<void(const Fault&)> say;
        ScanTold scanned{}; // of each message that passed the policy again; may be null
    };

    explicit QueueRunner(Parts parts);

    // Works once on all entries of the queue that are due, those to one server behind each other, the oldest
    // first. Faults have been said; the result is the worst exit code of them, 0 without.
    int run(platform::QueueKind queue, RunFigures& figures);

    // The queues that can be run, in the order in which messages go from one to the next.
    static const std::vector<platform::QueueKind>& queues();

private:
    struct Due;
    std::vector<Due> dueEntries(platform::QueueKind queue, RunFigures& figures, int& exitCode);
    int workOn(platform::QueueKind queue, platform::QueueStore& store, const std::string& id,
               RunFigures& figures);
    WorkDone work(platform::QueueKind queue, platform::QueueClaim& claim, std::int64_t now);
    int say(const Fault& fault);

    Parts parts_;
    EntryMoves moves_;
    OutgoingWork outgoing_;
    OutgoingWork rescan_;
    std::set<std::string> said_; // faults, so that a runner that goes on for ever says each once
};

} // namespace quzo::host
