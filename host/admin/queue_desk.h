// What people do with one queue, whatever they do it from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/base/fault.h"
#include "host/base/result.h"
#include "host/gateway/installation.h"
#include "platform/queue/queue_admin.h"

namespace quzo::host {

// An entry with the header block of its message as it stands there; of a very long one the first MiB.
struct EntryView {
    platform::ListedEntry entry;
    std::string header;
};

struct QueueExpiry {
    std::size_t removed = 0; // of a dry run: that would be
    Faults faults;           // of entries whose age nobody can tell, and of the queue
};

// Callable from any thread once it is opened; the installation outlives it. Faults of entries name QUEUE/ID:
// 65 an entry that cannot be used, 66 no such entry (any more), 74 reading or writing failed, 75 somebody
// else is working on it.
class QueueDesk {
public:
    // A fault (66 to 78) when the settings, which were read from `iniFile`, give the queue no directory, or
    // what should hold it is not there. `now` is in seconds since 1970: the time for which ages are told.
    static Result<QueueDesk> open(const Installation& installation, platform::QueueKind queue,
                                  const std::string& iniFile, std::int64_t now);

    platform::QueueKind queue() const { return queue_; }
    const char* name() const { return platform::queueName(queue_); }
    std::int64_t now() const { return now_; }

    // Ends what killed processes left undone; before the first change. A fault is a warning.
    MaybeFault tidy();

    // Visits the entries that match until `visit` returns false.
    MaybeFault list(const platform::QueueFilter& filter,
                    const std::function<bool(const platform::ListedEntry&)>& visit);

    Result<EntryView> show(const std::string& id);
    // The message, byte for byte, in pieces, until `sink` returns false.
    MaybeFault showMessage(const std::string& id, const std::function<bool(std::string_view)>& sink);

    // The new entry, or that of a dry run.
    Result<platform::QueuedEntry> release(const std::string& id, const platform::ReleaseOptions& how);

    // Makes it due at once.
    MaybeFault retry(const std::string& id, bool dryRun);

    MaybeFault remove(const std::string& id, bool dryRun);

    // Removes what has aged out. `visit`, which may be null, is told of each entry of a dry run.
    QueueExpiry expire(bool dryRun, const std::function<void(const std::string& id)>& visit = nullptr);

private:
    QueueDesk(platform::Queues& queues, const std::string& hostname, platform::QueueKind queue,
              std::int64_t now)
        : queues_(&queues), admin_(queues, hostname), queue_(queue), now_(now) {}

    Fault fault(std::string_view id, const platform::QueueResult& result) const;
    MaybeFault faultIf(std::string_view id, int error) const;
    int readHeader(const std::string& id, std::string& out);

    platform::Queues* queues_;
    platform::QueueAdmin admin_;
    platform::QueueKind queue_;
    std::int64_t now_;
};

// A fault (74) when that directory is not for the user who runs the program.
MaybeFault closedPlace(const std::string& directory);

// The queue of that name; a fault (64) when there is none.
Result<platform::QueueKind> queueNamed(const std::string& name);

// Whether a runner works that queue off; a fault (64) when it is one that people look after.
MaybeFault checkRunnable(platform::QueueKind queue);

// Where a release goes: the scan queue with `rescan`, else the outgoing one. A fault (64) when `queue` is
// that queue itself.
platform::QueueKind releaseTarget(bool rescan);
MaybeFault checkReleaseTarget(const std::string& queue, bool rescan);

} // namespace quzo::host
