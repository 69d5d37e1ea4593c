// See queues.h.
#include "platform/queue/queues.h"

#include "platform/queue/queue_transfer.h"
#include "platform/queue/tidy_turn.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr std::array<const char*, kQueueKinds.size()> kNames = {"quarantine", "archive",   "outgoing",
                                                                "scan",       "postponed", "failed"};

std::size_t indexOf(QueueKind kind) { return static_cast<std::size_t>(kind); }

std::string withoutSlash(std::string_view directory) {
    while (directory.size() > 1 && directory.ends_with('/')) {
        directory.remove_suffix(1);
    }
    return std::string(directory);
}

} // namespace

const char* queueName(QueueKind kind) { return kNames[indexOf(kind)]; }

std::optional<QueueKind> queueKind(std::string_view name) {
    for (const QueueKind kind : kQueueKinds) {
        if (name == queueName(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

Queues::Queues(const QueuePlaces& places, FileSystem& files) : files_(files) {
    for (const QueueKind kind : kQueueKinds) {
        std::string directory;
        if (kind == QueueKind::Quarantine) {
            directory = places.quarantine;
        } else if (kind == QueueKind::Archive) {
            directory = places.archive;
        }
        if (directory.empty() && !places.spool.empty()) {
            directory = withoutSlash(places.spool) + "/" + queueName(kind);
        }
        if (!directory.empty()) {
            stores_[indexOf(kind)] =
                std::make_unique<QueueStore>(queueName(kind), withoutSlash(directory), files_);
        }
    }
}

QueueStore* Queues::find(QueueKind kind) { return stores_[indexOf(kind)].get(); }

QueueStore* Queues::find(std::string_view name) {
    const auto kind = queueKind(name);
    return kind ? find(*kind) : nullptr;
}

QueueStore* Queues::at(QueueKind kind, std::string_view directory) {
    std::string wanted = withoutSlash(directory);
    if (wanted.empty()) {
        return nullptr;
    }
    QueueStore* own = find(kind);
    if (own != nullptr && own->directory() == wanted) {
        return own;
    }
    const std::scoped_lock lock(mutex_);
    auto& other = others_[{kind, wanted}];
    if (!other) {
        other = std::make_unique<QueueStore>(queueName(kind), wanted, files_);
    }
    return other.get();
}

int Queues::start(std::int64_t now) {
    int firstError = kErrorNone;
    for (const auto& store : stores_) {
        const int error = store ? tidy(*store, now) : int{kErrorNone};
        firstError = firstError != kErrorNone ? firstError : error;
    }
    return firstError;
}

int Queues::startIfDue(std::int64_t now) {
    int firstError = kErrorNone;
    for (const auto& store : stores_) {
        if (!store) {
            continue;
        }
        TidyTurn turn(files_, store->name(), store->directory());
        if (turn.take(now)) {
            const int error = tidy(*store, now);
            turn.finish(now);
            firstError = firstError != kErrorNone ? firstError : error;
        }
    }
    return firstError;
}

int Queues::tidy(QueueStore& store, std::int64_t now) {
    CleanUpCounts counts;
    return store.cleanUp(now, counts, [&](const ListedEntry& held) { settleHeld(*this, store, held, now); });
}

} // namespace quzo::platform
