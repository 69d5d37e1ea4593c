// Walking a queue: the listing, the removal of what has aged out, and the clean-up after processes that were
// killed. See queue_store.h.
#include <cerrno>
#include <utility>
#include <vector>

#include "platform/queue/process_identity.h"
#include "platform/queue/queue_errors.h"
#include "platform/queue/queue_store.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::platform {
namespace {

constexpr std::int64_t kLeftoverAge = 3600; // seconds
constexpr int kMaxTries = 16;               // of a name that others are always quicker to change

bool olderThan(const struct stat& status, std::int64_t now) {
    return std::int64_t{status.st_mtim.tv_sec} <= now - kLeftoverAge;
}

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

ListedEntry listedAs(const std::string& id, const EntryNames& names) {
    ListedEntry listed;
    listed.id = id;
    listed.state = names.state;
    listed.process = names.process;
    listed.message = names.message;
    return listed;
}

} // namespace

int QueueStore::forEach(const std::function<bool(ListedEntry&&)>& visit) const {
    int firstError = kErrorNone;
    const int error = directories_.forEach([&](std::string_view place, const FileHandle& directory) {
        DirectoryNames names;
        const int listError = readNames(directory.get(), place, names);
        firstError = firstError != kErrorNone ? firstError : listError;
        for (const auto& [id, found] : names.entries) {
            if (found.state == EntryState::None) {
                continue;
            }
            ListedEntry listed = listedAs(id, found);
            listed.error = readMetadata(directory.get(), found.metadata, id, listed.entry);
            if (listed.error == kErrorNotFound && found.state != EntryState::Held) {
                listed.error = read(id, listed.entry); // claimed or given back meanwhile
            }
            // One that is gone meanwhile is not there.
            if (listed.error != kErrorNotFound && !visit(std::move(listed))) {
                return false;
            }
        }
        return true;
    });
    return firstError != kErrorNone ? firstError : failed("cannot list", "all of it", error);
}

int QueueStore::forEachIdentifier(std::string_view beginning,
                                  const std::function<bool(std::string_view)>& visit) const {
    int firstError = kErrorNone;
    const int error = directories_.forEach([&](std::string_view place, const FileHandle& directory) {
        if (!beginning.starts_with(place.substr(0, beginning.size()))) {
            return true;
        }
        DirectoryNames names;
        const int listError = readNames(directory.get(), place, names);
        firstError = firstError != kErrorNone ? firstError : listError;
        for (const auto& [id, found] : names.entries) {
            const bool isThere = found.state == EntryState::Waiting || found.state == EntryState::Claimed;
            if (isThere && id.starts_with(beginning) && !visit(id)) {
                return false;
            }
        }
        return true;
    });
    return firstError != kErrorNone ? firstError : failed("cannot list", "all of it", error);
}

int QueueStore::look(std::string_view id, ListedEntry& out) const {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error;
    }
    for (int tries = 0; tries < kMaxTries; ++tries) {
        EntryNames names;
        if (const int error = findNames(directory.get(), id, names)) {
            return error;
        }
        if (!names.isThere()) {
            break;
        }
        out = listedAs(std::string(id), names);
        out.error = readMetadata(directory.get(), names.metadata, id, out.entry);
        if (out.error != kErrorNotFound) {
            return kErrorNone;
        }
    }
    return kErrorNotFound;
}

int QueueStore::expire(std::int64_t now, std::size_t& removed, const EntryVisitor& onUnreadable) {
    removed = 0;
    int firstError = kErrorNone;
    const auto keep = [&firstError](int error) { firstError = firstError != 0 ? firstError : error; };
    keep(forEach([&](ListedEntry&& listed) {
        if (listed.state == EntryState::Held) {
            return true;
        }
        if (listed.error != kErrorNone && onUnreadable) {
            onUnreadable(listed);
        }
        if (listed.error != kErrorNone || !listed.entry.agedOut(now)) {
            return true;
        }
        QueueClaim claim;
        const ClaimOutcome outcome = this->claim(listed.id, claim);
        if (outcome == ClaimOutcome::Failed) {
            keep(kErrorInputOutput);
        }
        // Looked at again, since it may have been changed before it was ours.
        if (outcome == ClaimOutcome::Taken && claim.error() == kErrorNone && claim.entry().agedOut(now)) {
            keep(claim.remove());
            removed += claim ? 0 : 1;
        }
        return true;
    }));
    return firstError;
}

int QueueStore::cleanUp(std::int64_t now, CleanUpCounts& counts, const EntryVisitor& onHeld) {
    int firstError = kErrorNone;
    const int error = directories_.forEach([&](std::string_view place, const FileHandle& directory) {
        const int placeError = cleanUpPlace(directory, place, now, counts, onHeld);
        firstError = firstError != kErrorNone ? firstError : placeError;
        return true;
    });
    return firstError != kErrorNone ? firstError : failed("cannot clean up", "all of it", error);
}

int QueueStore::cleanUpPlace(const FileHandle& directory, std::string_view place, std::int64_t now,
                             CleanUpCounts& counts, const EntryVisitor& onHeld) {
    DirectoryNames names;
    if (const int error = readNames(directory.get(), place, names)) {
        return error;
    }
    for (const TemporaryName& temporary : names.temporaries) {
        struct stat status {};
        if (!processRuns(temporary.process) &&
            files_.statAt(directory.get(), temporary.name.c_str(), status) == 0 && olderThan(status, now) &&
            files_.unlink(directory.get(), temporary.name.c_str()) == 0) {
            ++counts.temporaries;
        }
    }
    for (const auto& [id, entry] : names.entries) {
        if (entry.state == EntryState::None && removeOrphan(directory.get(), id, now)) {
            ++counts.orphans;
        }
        if (entry.state == EntryState::Held && onHeld) {
            ListedEntry held = listedAs(id, entry);
            held.error = readMetadata(directory.get(), entry.metadata, id, held.entry);
            onHeld(held);
        }
    }
    return kErrorNone;
}

// A message without what is known of it. Between the listing and now its other half may have come, or another
// message may have taken its name; so it is moved out of everybody's sight first, looked at again, and put
// back when it is not what it seemed.
bool QueueStore::removeOrphan(int directory, std::string_view id, std::int64_t now) {
    const std::string name = messageName(id);
    const std::string aside = temporaryName(id, ".DF");
    struct stat before {};
    struct stat after {};
    const auto alone = [&](bool message) {
        EntryNames names;
        return findNames(directory, id, names) == kErrorNone && names.state == EntryState::None &&
               names.message == message;
    };
    if (files_.statAt(directory, name.c_str(), before) != 0 || !olderThan(before, now) || !alone(true) ||
        files_.sync(directory) != 0 || // else a crash could bring back the other half, and only that
        files_.renameNew(directory, name.c_str(), aside.c_str()) != 0) {
        return false;
    }
    if (files_.statAt(directory, aside.c_str(), after) == 0 && sameFile(before, after) && alone(false)) {
        return files_.unlink(directory, aside.c_str()) == 0;
    }
    const int error = files_.renameNew(directory, aside.c_str(), name.c_str());
    failed("cannot put back the message", id, error);
    return false;
}

int QueueStore::publishHeld(std::string_view id, std::string_view process) {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error;
    }
    int error = files_.rename(directory.get(), heldName(id, process).c_str(), waitingName(id).c_str());
    if (error == 0) {
        error = files_.sync(directory.get());
    }
    return missingOrFailed("cannot publish", id, error);
}

int QueueStore::publishHeld(std::string_view id) {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error;
    }
    EntryNames names;
    if (const int error = findNames(directory.get(), id, names)) {
        return error;
    }
    return names.state == EntryState::Held ? publishHeld(id, names.process) : int{kErrorNotFound};
}

int QueueStore::dropHeld(std::string_view id, std::string_view process) {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error;
    }
    return missingOrFailed("cannot drop", id, files_.unlink(directory.get(), heldName(id, process).c_str()));
}

int QueueStore::discardHeld(std::string_view id) {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorInvalidArgument}) {
        return error == kErrorNotFound ? int{kErrorNone} : error;
    }
    EntryNames names;
    int error = ENOENT; // of the removal: somebody has published or dropped it meanwhile
    for (int tries = 0; error == ENOENT && tries < kMaxTries; ++tries) {
        if (const int listError = findNames(directory.get(), id, names)) {
            return listError;
        }
        if (names.isThere()) {
            return kErrorExists;
        }
        error = 0;
        if (names.state == EntryState::Held) {
            error = files_.unlink(directory.get(), names.metadata.c_str());
            error = error != 0 ? error : files_.sync(directory.get()); // as when an entry is removed
        }
    }
    if (error == 0 && names.message) {
        error = files_.unlink(directory.get(), messageName(id).c_str());
        error = error == ENOENT ? 0 : error;
    }
    return failed("cannot discard", id, error);
}

} // namespace quzo::platform
