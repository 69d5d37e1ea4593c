// See queue_transfer.h.
#include "platform/queue/queue_transfer.h"

#include "platform/queue/process_identity.h"
#include "platform/queue/queues.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::platform {
namespace {

constexpr std::int64_t kForgottenAge = 3600; // seconds

// Whether the queue has that very message, for the same people, under the identifier.
bool holds(const QueueStore& store, const QueueEntry& wanted, const MessageWriter& write) {
    QueueEntry entry;
    std::string stored;
    std::string message;
    return store.read(wanted.id, entry) == kErrorNone && entry.sender == wanted.sender &&
           entry.recipients == wanted.recipients &&
           store.readMessage(wanted.id, entry.size, stored) == kErrorNone &&
           write([&message](std::string_view piece) {
               message.append(piece);
               return true;
           }) &&
           stored == message;
}

} // namespace

int transferEntry(QueueClaim& source, QueueStore& target, QueueEntry& entry, const MessageWriter& write) {
    if (!source || source.error() != kErrorNone) {
        return source ? source.error() : int{kErrorInvalidArgument};
    }
    entry.id = derivedIdentifier(source.queue(), source.id());
    entry.origin = QueueOrigin{source.queue(), source.id()};
    int error = target.discardHeld(entry.id);
    if (error == kErrorExists && holds(target, entry, write)) {
        return source.remove(); // an earlier attempt came through, and a crash brought the old entry back
    }
    if (error == kErrorNone) {
        error = target.storeHeld(entry, write);
    }
    if (error != kErrorNone) {
        return error;
    }
    error = source.remove();
    if (source) {
        target.discardHeld(entry.id);
        return error;
    }
    if (error != kErrorNone) {
        return error; // a crash might bring the old one back: the next start sees whether it has
    }
    error = target.publishHeld(entry.id, processIdentity());
    return error == kErrorNotFound ? int{kErrorNone} : error; // somebody's start was quicker
}

void settleHeld(Queues& queues, QueueStore& target, const ListedEntry& held, std::int64_t now) {
    if (held.error != kErrorNone || !held.entry.origin) {
        ActionLog::L1("Queue %s: %s is held and cannot be read.", target.name().c_str(), held.id.c_str());
        return;
    }
    const QueueStore* origin = queues.find(held.entry.origin->queue);
    bool gone = false;
    if (origin == nullptr || origin->isGone(held.entry.origin->id, gone) != kErrorNone) {
        ActionLog::L1("Queue %s: %s is held, and where it came from cannot be looked at.",
                      target.name().c_str(), held.id.c_str());
        return;
    }
    if (!gone) {
        // Of a part that was split off, its origin tells whether it is one: that goes on without it.
        const bool whole = held.id == derivedIdentifier(held.entry.origin->queue, held.entry.origin->id);
        if (whole && !processRuns(held.process) && now - held.entry.stored >= kForgottenAge) {
            target.dropHeld(held.id, held.process);
        }
    } else if (held.message) {
        target.publishHeld(held.id, held.process);
    } else {
        ActionLog::L1("Queue %s: %s is held and has no message.", target.name().c_str(), held.id.c_str());
    }
}

} // namespace quzo::platform
