// One queue: a directory of messages that survive whatever happens to the process and the machine.
//
// An entry is two files, the message and what is known of it. Both are written under temporary names, synced
// and renamed, the message first; when the second has its name the entry is there. An entry is claimed by
// renaming the second file to a name with the claimer's process in it, so of any number of claimers, threads
// and processes alike, one wins, and when a claimer has died everybody can see it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/queue/file_system.h"
#include "platform/queue/queue_claim.h"
#include "platform/queue/queue_directories.h"
#include "platform/queue/queue_entry.h"
#include "platform/queue/queue_names.h"

namespace quzo::platform {

// Writes a message in pieces; a false from `sink` stops it. False when the message could not be made.
using MessageWriter = std::function<bool(const std::function<bool(std::string_view)>& sink)>;

// An entry as a walk over the queue finds it.
struct ListedEntry {
    std::string id;
    EntryState state = EntryState::Waiting;
    std::string process; // of a claimed or held entry
    int error = 0;       // non-zero, a KvMsgError: `entry` could not be read
    QueueEntry entry;
    bool message = true; // false: the message's file is missing
};

struct CleanUpCounts {
    std::size_t temporaries = 0;
    std::size_t orphans = 0; // messages without what is known of them
};

// Results are 0 or a KvMsgError; failures of the system are logged at level 1. Callable from any thread and
// by several processes on one directory. Throws nothing but std::bad_alloc, also while it writes, and leaves
// nothing behind then.
class QueueStore {
public:
    // Nothing is touched before the first operation; storing makes the directory. `files` outlives the store.
    QueueStore(std::string name, std::string directory, FileSystem& files = FileSystem::real());

    const std::string& name() const { return name_; }
    const std::string& directory() const { return directories_.root(); }

    // Stores a message under `entry.id` and sets `entry.size`. On success it is on the disk for good. An
    // identifier that is in use is kErrorExists; a writer that fails is kErrorInternal. After any failure
    // there is no such entry, or, when the disk refuses even to take it back, a whole one.
    int store(QueueEntry& entry, const MessageWriter& write);

    // kErrorNotFound when there is no such entry. A claimed one can be read too.
    int read(std::string_view id, QueueEntry& out) const;

    // The same with its state, as forEach() gives it; what is known of it may be unreadable.
    int look(std::string_view id, ListedEntry& out) const;

    // The message's bytes. kErrorLimit above `maxBytes`, kErrorInputOutput when `expected` is not its size.
    int readMessage(std::string_view id, std::uint64_t expected, std::string& out,
                    std::uint64_t maxBytes = std::uint64_t{4} << 30U) const;

    // The same in pieces, in order, until `sink` returns false. Pieces may have gone out before an error.
    int copyMessage(std::string_view id, std::uint64_t expected,
                    const std::function<bool(std::string_view)>& sink) const;

    // Opens the message for reading from its beginning and tells its size.
    int openMessage(std::string_view id, FileHandle& out, std::uint64_t& size) const;

    // Takes an entry for this claimer alone. One whose claimer has died is taken over.
    ClaimOutcome claim(std::string_view id, QueueClaim& out);

    // Visits all entries in the order of their identifiers, held ones too, until `visit` returns false. One
    // directory's names are in memory at a time. What comes or goes meanwhile may be seen or not. When a
    // directory cannot be read the others are visited all the same, and the result is the first error.
    int forEach(const std::function<bool(ListedEntry&&)>& visit) const;

    // Visits the identifiers that begin so, without what is on its way from another queue, until `visit`
    // returns false. Reads no entry. Otherwise as forEach().
    int forEachIdentifier(std::string_view beginning,
                          const std::function<bool(std::string_view)>& visit) const;

    // Removes the entries whose time has passed, but not one that a living process has claimed.
    // `onUnreadable` may be null and sees those of which it cannot be told.
    using EntryVisitor = std::function<void(const ListedEntry&)>;
    int expire(std::int64_t now, std::size_t& removed, const EntryVisitor& onUnreadable = nullptr);

    // For the start of a program: removes what killed processes have left half done, when it is older than an
    // hour at `now` (seconds since 1970). Held entries are for `onHeld` to judge.
    int cleanUp(std::int64_t now, CleanUpCounts& counts, const EntryVisitor& onHeld = nullptr);

    // The two halves of bringing an entry in from another queue, see queue_transfer.h. A held entry is on the
    // disk but not there until it is published. Publishing one that is not there (any more) is
    // kErrorNotFound.
    int storeHeld(QueueEntry& entry, const MessageWriter& write);
    int publishHeld(std::string_view id, std::string_view process);
    // The same, whoever has stored it.
    int publishHeld(std::string_view id);
    // Takes away what an earlier attempt has left; no error when there is nothing. The caller must be the
    // only one who may store under this identifier. kErrorExists when the entry is there in full.
    int discardHeld(std::string_view id);
    // Only the part that makes it held: the message is left to cleanUp().
    int dropHeld(std::string_view id, std::string_view process);

    // Whether there is no such entry, in no state, and no crash of the machine can bring one back.
    // kErrorNotFound when the queue does not even have the directory that it would be in.
    int isGone(std::string_view id, bool& out) const;

private:
    friend class QueueClaim;

    int put(QueueEntry& entry, const MessageWriter& write, const std::string& metadataName);
    int openPlace(std::string_view id, FileHandle& out) const;
    int readNames(int directory, std::string_view place, DirectoryNames& out) const;
    // The names of one entry; state None when there is none. What is only renamed meanwhile is found.
    int findNames(int directory, std::string_view id, EntryNames& out) const;
    int readMetadata(int directory, const std::string& name, std::string_view id, QueueEntry& out) const;
    int cleanUpPlace(const FileHandle& directory, std::string_view place, std::int64_t now,
                     CleanUpCounts& counts, const EntryVisitor& onHeld);
    bool removeOrphan(int directory, std::string_view id, std::int64_t now);
    // Log and translate an errno value; the second takes a file that is not there for no fault.
    int failed(const char* what, std::string_view id, int error) const;
    int missingOrFailed(const char* what, std::string_view id, int error) const;

    std::string name_;
    FileSystem& files_;
    QueueDirectories directories_;
};

} // namespace quzo::platform
