// An entry of the scan queue: another pass of the policy.
#pragma once

#include <cstdint>
#include <functional>

#include "host/gateway/message_line.h"
#include "host/gateway/message_pipeline.h"
#include "host/gateway/snapshot.h"
#include "host/runner/entry_moves.h"

namespace quzo::host {

// Told of a message that has passed the policy, when it is where it then belongs. Its name in the facts is
// "scan/" and the entry's, the time that from its bytes on. Throws nothing.
using ScanTold = std::function<void(const MessageResult&, const MessageFacts&)>;

// Runs the message through the rules of the snapshot, without those that its mark names, with what the entry
// knows of it from before. What goes on is in the outgoing queue before the entry is gone; what an action
// took is where that put it; what could not be handled waits or fails. The pass has the same identifier each
// time that it is tried, so one that was cut off stores nothing twice. `told` may be null.
WorkDone workScan(const Snapshot& snapshot, const EntryMoves& moves, platform::QueueClaim& claim,
                  std::int64_t now, const ScanTold& told = nullptr);

} // namespace quzo::host
