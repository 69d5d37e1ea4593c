// Claiming an entry, and what its claimer may do. See queue_store.h and queue_claim.h.
//
// The rename from the waiting to the claimed name succeeds for exactly one of all who try: the others do not
// find the old name any more. Taking over from a dead claimer is the same rename from the dead one's name. A
// claim needs no sync, since after a crash of the machine all claims are stale.
#include "platform/queue/queue_claim.h"

#include <cerrno>
#include <utility>

#include "platform/queue/process_identity.h"
#include "platform/queue/queue_errors.h"
#include "platform/queue/queue_store.h"
#include "platform/queue/temporary_file.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr int kMaxTries = 16; // of a rename that others are always quicker at

} // namespace

ClaimOutcome QueueStore::claim(std::string_view id, QueueClaim& out) {
    out = QueueClaim();
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error == kErrorNotFound ? ClaimOutcome::Missing : ClaimOutcome::Failed;
    }
    const std::string own = claimedName(id, processIdentity());
    QueueClaim claim;
    claim.id_ = id;
    claim.name_ = own;
    std::string from = waitingName(id);
    for (int tries = 0; tries < kMaxTries; ++tries) {
        const int error = files_.rename(directory.get(), from.c_str(), own.c_str());
        if (error == 0) {
            claim.store_ = this;
            claim.error_ = readMetadata(directory.get(), own, id, claim.entry_);
            claim.directory_ = std::move(directory);
            out = std::move(claim);
            return ClaimOutcome::Taken;
        }
        if (error != ENOENT) {
            failed("cannot claim", id, error);
            return ClaimOutcome::Failed;
        }
        EntryNames names;
        if (findNames(directory.get(), id, names) != kErrorNone) {
            return ClaimOutcome::Failed;
        }
        if (!names.isThere()) {
            return ClaimOutcome::Missing;
        }
        if (names.state == EntryState::Claimed && processRuns(names.process)) {
            return ClaimOutcome::Busy;
        }
        from = names.metadata;
    }
    return ClaimOutcome::Busy;
}

QueueClaim::QueueClaim(QueueClaim&& other) noexcept
    : store_(std::exchange(other.store_, nullptr)),
      id_(std::move(other.id_)),
      name_(std::move(other.name_)),
      directory_(std::move(other.directory_)),
      entry_(std::move(other.entry_)),
      error_(other.error_) {}

QueueClaim& QueueClaim::operator=(QueueClaim&& other) noexcept {
    if (this != &other) {
        release();
        store_ = std::exchange(other.store_, nullptr);
        id_ = std::move(other.id_);
        name_ = std::move(other.name_);
        directory_ = std::move(other.directory_);
        entry_ = std::move(other.entry_);
        error_ = other.error_;
    }
    return *this;
}

const std::string& QueueClaim::queue() const { return store_->name(); }

int QueueClaim::update(const QueueEntry& entry) {
    if (store_ == nullptr || entry.id != id_) {
        return kErrorInvalidArgument;
    }
    QueueEntry updated = entry;
    std::string text;
    if (const int error = encodeEntry(updated, text)) {
        return error;
    }
    FileSystem& files = store_->files_;
    TemporaryFile file(files, directory_.get(), temporaryName(id_, ".json"));
    int error = file.write(text);
    error = error != 0 ? error : file.sync();
    // The claim's own name first: else a crash could leave the former text under the name that it had before,
    // beside the new one.
    error = error != 0 ? error : files.sync(directory_.get());
    if (error == 0) {
        error = file.replace(name_);
        if (error == 0) {
            entry_ = std::move(updated);
            error_ = 0;
            error = files.sync(directory_.get());
        }
    }
    return store_->failed("cannot update", id_, error);
}

int QueueClaim::remove() {
    if (store_ == nullptr) {
        return kErrorInvalidArgument;
    }
    FileSystem& files = store_->files_;
    int error = files.unlink(directory_.get(), name_.c_str());
    if (error == 0) {
        // Synced before the message goes, so that no crash leaves an entry without one.
        error = files.sync(directory_.get());
        files.unlink(directory_.get(), messageName(id_).c_str()); // else the next clean-up finds it
        const QueueStore* store = std::exchange(store_, nullptr);
        directory_.reset();
        return store->failed("cannot make the removal durable of", id_, error);
    }
    return store_->failed("cannot remove", id_, error);
}

int QueueClaim::release() noexcept {
    if (store_ == nullptr) {
        return kErrorNone;
    }
    QueueStore* store = std::exchange(store_, nullptr);
    try {
        const int error = store->files_.rename(directory_.get(), name_.c_str(), waitingName(id_).c_str());
        directory_.reset();
        return store->failed("cannot give back", id_, error);
    } catch (...) {
        return kErrorNoMemory; // it is free again when this process ends
    }
}

} // namespace quzo::platform
