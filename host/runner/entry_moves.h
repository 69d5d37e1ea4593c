// Where an entry that has been worked on goes: on, back to wait, or to the ones that failed.
#pragma once

#include <cstdint>
#include <string>

#include "host/runner/retry_plan.h"
#include "platform/queue/queue_claim.h"
#include "platform/queue/queues.h"

namespace quzo::host {

// What became of an entry.
struct WorkDone {
    enum class Kind : std::uint8_t {
        Gone,    // delivered, or moved on
        Later,   // stays and is tried again
        Failed,  // it, or some of its recipients and nobody else, can not be served: see the failed queue
        Trouble, // the disk or the memory failed: it stays, or is where it was to go
    };
    Kind kind = Kind::Gone;
    std::string text; // for people: why, and what was said last
    int error = 0;    // of Trouble: a KvMsgError

    static WorkDone trouble(int error);
};

// For one thread; `queues` outlives it. An entry whose update or move fails stays as it was.
class EntryMoves {
public:
    EntryMoves(platform::Queues& queues, RetryPlan plan) : queues_(queues), plan_(plan) {}

    platform::Queues& queues() const { return queues_; }

    // Writes `entry`, which is the claim's with a failed attempt counted, to be tried again; or moves it to
    // the failed queue when its time is over.
    WorkDone later(platform::QueueClaim& claim, platform::QueueEntry entry, const std::string& reason,
                   std::int64_t now) const;

    // Moves it to the failed queue with all its recipients.
    WorkDone fail(platform::QueueClaim& claim, platform::QueueEntry entry, const std::string& reason,
                  std::int64_t now) const;

    // Moves it to the outgoing queue, for the first attempt there at once. The message is `write`'s.
    WorkDone send(platform::QueueClaim& claim, platform::QueueEntry entry,
                  const platform::MessageWriter& write, std::int64_t now) const;

    // Gives the claimed entry's message as it is stored; a small one is read once and kept.
    platform::MessageWriter messageOf(const platform::QueueClaim& claim) const;

    bool givesUp(const platform::QueueEntry& entry, std::int64_t now) const {
        return plan_.givesUp(now, entry.stored);
    }

private:
    platform::Queues& queues_;
    RetryPlan plan_;
};

} // namespace quzo::host
