// What people do with queues: look, release, remove, let things age out.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/queue/queues.h"

namespace quzo::platform {

// All given conditions must hold. Ages are in seconds since the entry was stored, sizes in bytes.
struct QueueFilter {
    using Test = std::function<bool(std::string_view)>;

    std::optional<std::int64_t> minAge = std::nullopt;
    std::optional<std::int64_t> maxAge = std::nullopt;
    std::optional<std::uint64_t> minSize = std::nullopt;
    std::optional<std::uint64_t> maxSize = std::nullopt;
    std::optional<std::uint32_t> rule = std::nullopt;
    // Each null: any.
    Test sender = nullptr;
    Test recipient = nullptr; // of one recipient at least
    Test subject = nullptr;
    Test ruleName = nullptr;
    Test area = nullptr; // of the area's description, or of its id as decimal text

    bool matches(const QueueEntry& entry, std::int64_t now) const;
    bool empty() const;
};

struct ReleaseOptions {
    std::vector<std::string> recipients = {}; // in place of the entry's own; none: those
    bool rescan = false;       // through the scanner again, with the marks of the rules that ran
    bool asAttachment = false; // in a message of our own, from "QUZO@hostname"; not together with `rescan`
    bool dryRun = false;       // check everything and touch nothing
};

// An entry of a queue.
struct QueuedEntry {
    std::string queue;
    std::string id;
};

// How work on one entry came out.
struct QueueResult {
    enum class Outcome : std::uint8_t {
        Done,
        Missing, // no such entry (any more), or the queue is not configured
        Busy,    // somebody else is working on it: try again
        Failed,
    };
    Outcome outcome = Outcome::Done;
    int error = 0; // a KvMsgError: non-zero for Missing and Failed

    bool done() const { return outcome == Outcome::Done; }

    // Done for 0, Missing for kErrorNotFound, else Failed.
    static QueueResult of(int error);
};

// Plain results are 0 or a KvMsgError, kErrorNotFound for a queue that is not configured. Callable from any
// thread; `queues` outlives it.
class QueueAdmin {
public:
    // `hostname` completes the sender of our own messages when they leave.
    QueueAdmin(Queues& queues, std::string hostname) : queues_(queues), hostname_(std::move(hostname)) {}

    // Visits the entries that match, in the order of their identifiers, until `visit` returns false. An entry
    // that cannot be read is visited with its error when there is no filter. Entries on their way from
    // another queue are not shown.
    int list(QueueKind queue, const QueueFilter& filter, std::int64_t now,
             const std::function<bool(const ListedEntry&)>& visit);

    int show(QueueKind queue, std::string_view id, QueueEntry& out);
    // The same with its state, and of an entry that cannot be read too.
    int look(QueueKind queue, std::string_view id, ListedEntry& out);
    int showMessage(QueueKind queue, std::string_view id, std::string& out);
    // In pieces, in order, until `sink` returns false.
    int showMessage(QueueKind queue, std::string_view id, const std::function<bool(std::string_view)>& sink);

    // Moves the entry to the outgoing queue, or to the scan queue, exactly once however many try and whoever
    // dies. `released` is the new entry. Failures beside those of the system: kErrorInvalidArgument when
    // there is nobody to release it to, an address that is none, or the queue is the one that it would go
    // to; kErrorExists when an earlier release of it, to others or of another message, waits there still.
    QueueResult release(QueueKind queue, std::string_view id, const ReleaseOptions& options, std::int64_t now,
                        QueuedEntry& released);

    // Makes a waiting entry due at once; what is known of its attempts stays.
    QueueResult retry(QueueKind queue, std::string_view id);

    // Removes the entry, also one that cannot be read.
    QueueResult remove(QueueKind queue, std::string_view id);

    // Removes what has aged out, see QueueStore::expire().
    int expire(QueueKind queue, std::int64_t now, std::size_t& removed,
               const QueueStore::EntryVisitor& onUnreadable = nullptr);

private:
    QueueResult claim(QueueKind queue, std::string_view id, QueueClaim& out);
    int makeReleased(const QueueEntry& entry, const ReleaseOptions& options, std::int64_t now,
                     QueueEntry& out) const;
    int prepareRelease(const QueueStore& source, const QueueEntry& held, const ReleaseOptions& options,
                       std::int64_t now, QueueEntry& entry, std::string& message) const;

    Queues& queues_;
    std::string hostname_;
};

} // namespace quzo::platform
