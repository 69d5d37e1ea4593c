// Taking the recipients that were refused out of an entry, into an entry of their own, exactly once.
//
// The part is stored held, which makes it durable but keeps it out of everybody's sight; then the entry is
// written anew without those recipients and with the part's identifier, which decides the matter; then the
// part is published. Whoever dies in between leaves an entry that says how far he came, and its next claimer
// ends it.
#pragma once

#include <cstdint>

#include "platform/queue/queue_claim.h"
#include "platform/queue/queue_store.h"

namespace quzo::platform {

// Ends what a former claimer began, and moves the recipients in `refused` of the claimed entry into `target`.
// There must be others who stay. The part's identifier follows from the entry's and its attempts, so
// attempts must grow between two splits. Returns 0 or a KvMsgError: then the entry still notes what is to be
// done.
int splitRefused(QueueClaim& source, const QueueStore& from, QueueStore& target, std::int64_t now);

// The recipients that are not refused.
std::vector<std::string> notRefused(const QueueEntry& entry);

// What was said to those who are: one answer, or each with its recipient; may be cut.
std::string refusalText(const QueueEntry& entry);

} // namespace quzo::platform
