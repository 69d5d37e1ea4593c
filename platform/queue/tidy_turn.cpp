// See tidy_turn.h.
#include "platform/queue/tidy_turn.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "platform/queue/queue_errors.h"

namespace quzo::platform {
namespace {

constexpr const char* kName = ".tidied";
constexpr std::int64_t kInterval = 3600; // seconds
constexpr mode_t kMode = 0600;

// Only a tidying that came to its end writes it: an empty file is one that nobody has finished.
constexpr std::string_view kText = "The time of this file says when this queue was last tidied up.\n";

// A time ahead of ours is another clock's; when it is far ahead it must not keep us off for ever.
bool isRecent(const struct stat& status, std::int64_t now) {
    return S_ISREG(status.st_mode) && status.st_size > 0 &&
           std::abs(now - std::int64_t{status.st_mtim.tv_sec}) < kInterval;
}

} // namespace

// Opens the file, which the first to come makes.
int TidyTurn::openStamp(const FileHandle& root) {
    constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK;
    int error = files_.openAt(root.get(), kName, kFlags, 0, stamp_);
    if (error == ENOENT) {
        error = files_.openAt(root.get(), kName, kFlags | O_CREAT | O_EXCL, kMode, stamp_);
    }
    return error == EEXIST ? files_.openAt(root.get(), kName, kFlags, 0, stamp_) : error;
}

bool TidyTurn::take(std::int64_t now) {
    FileHandle root;
    struct stat status {};
    if (const int error = files_.openAt(AT_FDCWD, directory_.c_str(), O_RDONLY | O_DIRECTORY, 0, root)) {
        return error != ENOENT; // else the tidying says what is wrong
    }
    if (files_.statAt(root.get(), kName, status) == 0 && isRecent(status, now)) {
        return false;
    }
    int error = openStamp(root);
    if (error == 0 && files_.tryLock(stamp_.get()) == EWOULDBLOCK) {
        return false; // somebody is at it; a file system without locks is no reason to leave it
    }
    error = error != 0 ? error : files_.stat(stamp_.get(), status);
    error = error == 0 && !S_ISREG(status.st_mode) ? EIO : error;
    if (error != 0) {
        reportError(queue_.c_str(), "cannot open", kName, error);
        stamp_.reset();
        return true;
    }
    fresh_ = status.st_size == 0;
    return !isRecent(status, now); // somebody may have finished meanwhile
}

void TidyTurn::finish(std::int64_t now) {
    if (!stamp_) {
        return;
    }
    int error = fresh_ ? files_.writeAll(stamp_.get(), kText) : 0;
    error = error != 0 ? error : files_.setTime(stamp_.get(), now);
    if (error != 0) {
        reportError(queue_.c_str(), "cannot write", kName, error);
    }
}

} // namespace quzo::platform
