// Storing, reading and walking a queue. See queue_store.h; queue_claim.cpp and queue_walk.cpp have the rest.
#include "platform/queue/queue_store.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/queue/process_identity.h"
#include "platform/queue/queue_errors.h"
#include "platform/queue/temporary_file.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// A FIFO that somebody put there must not hold us up.
constexpr int kReadFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;

// So often a directory that cannot be listed by one read is listed before something in it is taken for gone.
constexpr int kListings = 4;

int openRegular(FileSystem& files, int directory, const std::string& name, FileHandle& out,
                std::uint64_t& size) {
    struct stat status {};
    int error = files.openAt(directory, name.c_str(), kReadFlags, 0, out);
    if (error == 0) {
        error = files.stat(out.get(), status);
    }
    if (error == 0 && !S_ISREG(status.st_mode)) {
        error = EIO;
    }
    size = error == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    return error;
}

int readWhole(FileSystem& files, const FileHandle& file, std::uint64_t size, std::string& out) {
    out.resize(size);
    std::size_t at = 0;
    while (at < out.size()) {
        std::size_t count = 0;
        if (const int error = files.read(file.get(), out.data() + at, out.size() - at, count)) {
            return error;
        }
        if (count == 0) {
            return EIO; // somebody cut it
        }
        at += count;
    }
    return 0;
}

// ECANCELED when it is the writer that gave up.
int writeMessage(TemporaryFile& file, const MessageWriter& write) {
    int error = file.create();
    if (error == 0) {
        const bool written = write([&file](std::string_view piece) { return file.append(piece) == 0; });
        error = file.flush();
        error = error == 0 && !written ? ECANCELED : error;
    }
    return error;
}

// Gives the message and what is known of it, both written, their real names. The message's name is the lock
// on the identifier: who has it is the only one who may give or take the other. It comes before the other
// file is synced, which takes it to the disk as well on all file systems with a journal, so that no crash
// leaves an entry without its message. On others that can happen to a message that was not reported as
// stored; a sync of the directory in between would prevent it there and cost a seventh of the speed here.
int publishBoth(FileSystem& files, int directory, TemporaryFile& message, const std::string& messageAs,
                TemporaryFile& metadata, const std::string& metadataAs) {
    if (const int error = message.publish(messageAs)) {
        return error;
    }
    int error = metadata.sync();
    bool ours = false; // whether the second name may be there and be ours
    if (error == 0) {
        error = metadata.publish(metadataAs);
        ours = error != EEXIST;
        error = error != 0 ? error : files.sync(directory);
    }
    if (error != 0) {
        // Taken back in the other order, and the message only when nothing refers to it any more.
        const int back = ours ? files.unlink(directory, metadataAs.c_str()) : 0;
        if (back == 0 || back == ENOENT) {
            files.unlink(directory, messageAs.c_str());
        }
    }
    return error;
}

} // namespace

QueueStore::QueueStore(std::string name, std::string directory, FileSystem& files)
    : name_(std::move(name)), files_(files), directories_(files, std::move(directory)) {}

int QueueStore::failed(const char* what, std::string_view id, int error) const {
    return reportError(name_.c_str(), what, std::string(id).c_str(), error);
}

int QueueStore::missingOrFailed(const char* what, std::string_view id, int error) const {
    return error == ENOENT ? int{kErrorNotFound} : failed(what, id, error);
}

int QueueStore::openPlace(std::string_view id, FileHandle& out) const {
    return missingOrFailed("cannot open the directory of", id, directories_.open(id.substr(0, 2), out));
}

int QueueStore::readNames(int directory, std::string_view place, DirectoryNames& out) const {
    std::vector<std::string> names;
    const int error = files_.list(directory, names);
    out = sortNames(names, place);
    return failed("cannot list", place, error);
}

int QueueStore::findNames(int directory, std::string_view id, EntryNames& out) const {
    const std::string_view place = id.substr(0, 2);
    for (int missed = 0; missed < kListings; ++missed) {
        std::vector<std::string> names;
        bool atOnce = false;
        if (const int error = files_.list(directory, names, &atOnce)) {
            return failed("cannot list", place, error);
        }
        const DirectoryNames sorted = sortNames(names, place);
        const EntryNames* found = sorted.find(id);
        out = found != nullptr ? *found : EntryNames();
        if (atOnce || out.state != EntryState::None) {
            break;
        }
    }
    return kErrorNone;
}

int QueueStore::store(QueueEntry& entry, const MessageWriter& write) {
    return put(entry, write, waitingName(entry.id));
}

int QueueStore::storeHeld(QueueEntry& entry, const MessageWriter& write) {
    return put(entry, write, heldName(entry.id, processIdentity()));
}

// Both files are written before the first is synced: the system then often brings both to the disk at once.
int QueueStore::put(QueueEntry& entry, const MessageWriter& write, const std::string& metadataName) {
    if (!isQueueIdentifier(entry.id)) {
        return kErrorInvalidArgument;
    }
    const std::string& id = entry.id;
    const std::string_view place = std::string_view(id).substr(0, 2);
    QueueDirectories::Way way;
    if (const int error = directories_.make(place, way)) {
        failed("cannot make the directory of", id, error);
        return error == ENOENT ? kErrorInputOutput : platformError(error);
    }
    const int directory = way.inner.get();
    TemporaryFile message(files_, directory, temporaryName(id, ".DF"));
    TemporaryFile metadata(files_, directory, temporaryName(id, ".json"));
    int error = writeMessage(message, write);
    if (error == ECANCELED) {
        return kErrorInternal;
    }
    if (error == 0) {
        entry.size = message.size();
        std::string text;
        if (const int encodeError = encodeEntry(entry, text)) {
            return encodeError;
        }
        error = metadata.write(text);
    }
    error = error != 0 ? error : message.sync();
    error = error != 0 ? error : directories_.settle(place, way);
    error =
        error != 0 ? error : publishBoth(files_, directory, message, messageName(id), metadata, metadataName);
    failed("cannot store", id, error);
    return error == ENOENT ? kErrorInputOutput : platformError(error);
}

int QueueStore::readMetadata(int directory, const std::string& name, std::string_view id,
                             QueueEntry& out) const {
    FileHandle file;
    std::uint64_t size = 0;
    std::string text;
    int error = openRegular(files_, directory, name, file, size);
    if (error == 0 && size > kMaxEntryText) {
        return kErrorLimit;
    }
    if (error == 0) {
        error = readWhole(files_, file, size, text);
    }
    if (error != 0) {
        return missingOrFailed("cannot read", id, error);
    }
    const int decodeError = decodeEntry(text, out);
    return decodeError == kErrorNone && out.id != id ? int{kErrorMalformedText} : decodeError;
}

int QueueStore::read(std::string_view id, QueueEntry& out) const {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error;
    }
    int error = readMetadata(directory.get(), waitingName(id), id, out);
    // Claims come and go: its name may be another by the time it is opened.
    for (int tries = 0; error == kErrorNotFound && tries < 16; ++tries) {
        EntryNames names;
        if (const int listError = findNames(directory.get(), id, names)) {
            return listError;
        }
        if (!names.isThere()) {
            return kErrorNotFound;
        }
        error = readMetadata(directory.get(), names.metadata, id, out);
    }
    return error;
}

int QueueStore::isGone(std::string_view id, bool& out) const {
    FileHandle directory;
    EntryNames names;
    int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorInvalidArgument};
    if (error == kErrorNone) {
        error = findNames(directory.get(), id, names);
    }
    out = error == kErrorNone && names.state == EntryState::None;
    return out ? failed("cannot make the removal durable of", id, files_.sync(directory.get())) : error;
}

int QueueStore::openMessage(std::string_view id, FileHandle& out, std::uint64_t& size) const {
    FileHandle directory;
    if (const int error = isQueueIdentifier(id) ? openPlace(id, directory) : int{kErrorNotFound}) {
        return error;
    }
    return missingOrFailed("cannot open the message", id,
                           openRegular(files_, directory.get(), messageName(id), out, size));
}

int QueueStore::readMessage(std::string_view id, std::uint64_t expected, std::string& out,
                            std::uint64_t maxBytes) const {
    FileHandle file;
    std::uint64_t size = 0;
    if (const int error = openMessage(id, file, size)) {
        return error;
    }
    if (size > maxBytes) {
        return kErrorLimit;
    }
    const int error = size == expected ? readWhole(files_, file, size, out) : EIO;
    return failed("cannot read the message", id, error);
}

int QueueStore::copyMessage(std::string_view id, std::uint64_t expected,
                            const std::function<bool(std::string_view)>& sink) const {
    constexpr std::size_t kPiece = std::size_t{64} << 10U;
    FileHandle file;
    std::uint64_t size = 0;
    if (const int error = openMessage(id, file, size)) {
        return error;
    }
    std::string piece(kPiece, '\0');
    int error = size == expected ? 0 : EIO;
    for (std::uint64_t left = size; error == 0 && left > 0;) {
        std::size_t count = 0;
        error = files_.read(file.get(), piece.data(), std::min<std::uint64_t>(left, kPiece), count);
        error = error == 0 && count == 0 ? EIO : error; // somebody cut it
        if (error == 0 && !sink(std::string_view(piece).substr(0, count))) {
            return kErrorNone;
        }
        left -= count;
    }
    return failed("cannot read the message", id, error);
}

} // namespace quzo::platform
