// An entry of the postponed queue whose time has come.
#pragma once

#include <cstdint>

#include "host/runner/entry_moves.h"

namespace quzo::host {

// Moves it to the outgoing queue.
WorkDone workPostponed(const EntryMoves& moves, platform::QueueClaim& claim, std::int64_t now);

} // namespace quzo::host
