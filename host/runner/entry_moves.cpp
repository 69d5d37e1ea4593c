// See entry_moves.h. Everything that leaves a queue for another does so by transferEntry(), once and for all.
#include "host/runner/entry_moves.h"

#include <memory>
#include <utility>

#include "platform/queue/queue_transfer.h"
#include "quzo/core/error_text.h"

namespace quzo::host {

using platform::MessageWriter;
using platform::QueueClaim;
using platform::QueueEntry;
using platform::QueueKind;

namespace {

constexpr std::uint64_t kSmall = std::uint64_t{256} << 10U; // bytes of a message that is read once

} // namespace

WorkDone WorkDone::trouble(int error) { return {Kind::Trouble, KVMSGERR::I2A(error), error}; }

MessageWriter EntryMoves::messageOf(const QueueClaim& claim) const {
    const platform::QueueStore* store = queues_.find(claim.queue());
    return [store, id = claim.id(), size = claim.entry().size,
            small = std::make_shared<std::string>()](const std::function<bool(std::string_view)>& sink) {
        if (size != 0 && size <= kSmall) {
            const int error = small->empty() ? store->readMessage(id, size, *small) : int{kErrorNone};
            return error == kErrorNone && sink(*small);
        }
        return store->copyMessage(id, size, sink) == kErrorNone;
    };
}

WorkDone EntryMoves::later(QueueClaim& claim, QueueEntry entry, const std::string& reason,
                           std::int64_t now) const {
    if (plan_.givesUp(now, entry.stored)) {
        return fail(claim, std::move(entry), "given up: " + reason, now);
    }
    entry.reason = reason;
    entry.due = plan_.next(now, entry.stored, entry.attempts);
    const int error = claim.update(entry);
    return error != kErrorNone ? WorkDone::trouble(error) : WorkDone{WorkDone::Kind::Later, reason};
}

WorkDone EntryMoves::fail(QueueClaim& claim, QueueEntry entry, const std::string& reason,
                          std::int64_t now) const {
    const MessageWriter write = messageOf(claim);
    entry.previous = claim.id();
    entry.reason = reason;
    entry.due.reset();
    entry.stored = now;
    const int error = transferEntry(claim, *queues_.find(QueueKind::Failed), entry, write);
    return error != kErrorNone ? WorkDone::trouble(error) : WorkDone{WorkDone::Kind::Failed, reason};
}

WorkDone EntryMoves::send(QueueClaim& claim, QueueEntry entry, const MessageWriter& write,
                          std::int64_t now) const {
    entry.previous = claim.id();
    entry.reason.clear();
    entry.due.reset();
    entry.attempts = 0;
    entry.stored = now;
    const int error = transferEntry(claim, *queues_.find(QueueKind::Outgoing), entry, write);
    return error != kErrorNone ? WorkDone::trouble(error) : WorkDone{};
}

} // namespace quzo::host
