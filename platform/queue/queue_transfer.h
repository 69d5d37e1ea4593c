// Moving an entry from one queue into another, exactly once.
//
// Two directories cannot be changed at once, so the new entry is stored held, which makes it durable but
// keeps it out of everybody's sight; then the old one is removed, which decides the matter; then the new one
// is published. Whoever dies in between leaves either the old entry as it was or a held one whose origin is
// gone, and the next start publishes that. The new identifier follows from the old one, so a second attempt
// finds what the first has left.
#pragma once

#include "platform/queue/queue_claim.h"
#include "platform/queue/queue_store.h"

namespace quzo::platform {

class Queues;

// Moves the claimed entry into `target`, with `entry` as what is known of it there (its id and origin are set
// here) and what `write` gives as the message. An old entry that a crash brought back is removed when the new
// one still waits; another message, or the same for other people, is kErrorExists.
//
// Returns 0 or a KvMsgError. With a non-zero result either the claim still has its entry, and nothing has
// happened, or it has not, and the new entry is held until the next start.
int transferEntry(QueueClaim& source, QueueStore& target, QueueEntry& entry, const MessageWriter& write);

// Judges a held entry that a clean-up has found in `target`: publishes it when its origin is gone; drops it
// when the process that stored it is gone too, its origin stands and an hour has passed, unless it is a part
// of that (queue_split.h); else leaves it.
void settleHeld(Queues& queues, QueueStore& target, const ListedEntry& held, std::int64_t now);

} // namespace quzo::platform
