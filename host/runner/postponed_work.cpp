// See postponed_work.h.
#include "host/runner/postponed_work.h"

namespace quzo::host {

WorkDone workPostponed(const EntryMoves& moves, platform::QueueClaim& claim, std::int64_t now) {
    return moves.send(claim, claim.entry(), moves.messageOf(claim), now);
}

} // namespace quzo::host
