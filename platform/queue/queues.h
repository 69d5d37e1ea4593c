// The queues of one installation.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/queue/queue_store.h"

namespace quzo::platform {

enum class QueueKind : std::uint8_t { Quarantine, Archive, Outgoing, Scan, Postponed, Failed };

inline constexpr std::array<QueueKind, 6> kQueueKinds = {QueueKind::Quarantine, QueueKind::Archive,
                                                         QueueKind::Outgoing,   QueueKind::Scan,
                                                         QueueKind::Postponed,  QueueKind::Failed};

// "quarantine", "archive", "outgoing", "scan", "postponed", "failed".
const char* queueName(QueueKind kind);
std::optional<QueueKind> queueKind(std::string_view name);

// Directories; empty: none. Below `spool` lie the queues that have no directory of their own.
struct QueuePlaces {
    std::string spool;
    std::string quarantine;
    std::string archive;
};

// Callable from any thread.
class Queues {
public:
    // Touches no disk. `files` outlives the queues.
    explicit Queues(const QueuePlaces& places, FileSystem& files = FileSystem::real());

    // Null when the queue has no directory, or there is no queue of that name.
    QueueStore* find(QueueKind kind);
    QueueStore* find(std::string_view name);

    // The queue of that kind in a given directory: the one that find() gives when that is its own, else one
    // more, which is kept. Null for no directory.
    QueueStore* at(QueueKind kind, std::string_view directory);

    // For the start of a program that works on queues: cleans up after processes that were killed. Returns 0
    // or the first KvMsgError; the other queues are seen to all the same.
    int start(std::int64_t now);

    // The same for programs that start often: each queue at most once an hour, whoever does it.
    int startIfDue(std::int64_t now);

private:
    int tidy(QueueStore& store, std::int64_t now);

    FileSystem& files_;
    std::array<std::unique_ptr<QueueStore>, kQueueKinds.size()> stores_;
    std::mutex mutex_; // of what follows
    std::map<std::pair<QueueKind, std::string>, std::unique_ptr<QueueStore>> others_;
};

} // namespace quzo::platform
