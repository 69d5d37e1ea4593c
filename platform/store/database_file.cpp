// SQLite would make the file itself, readable for everybody.
//
// An existing file is looked at, never opened: closing a descriptor of a file takes away all locks that the
// process holds on it, those of other sessions included. For the same reason one thread at a time comes here:
// a second one must not have the new file open and locked before the first has closed it.
#include "platform/store/database_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <system_error>

#include "platform/base/owner_of_new_file.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

constexpr mode_t kMode = 0600; // what SQLite puts beside the file takes the file's mode

std::string errorText(int error) { return std::generic_category().message(error); }

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

[[noreturn]] void cannotCreate(const std::string& path, const std::string& label, int error) {
    std::string text = "the store " + label + " cannot be created: ";
    struct stat folder {};
    if (error == ENOENT && stat(folderOf(path).c_str(), &folder) != 0) {
        text += "its folder does not exist: create it";
    } else {
        text += errorText(error);
    }
    const bool full = error == ENOSPC || error == EDQUOT;
    throw StoreFailure(full ? StoreTrouble::NoSpace : StoreTrouble::CannotOpen, text);
}

} // namespace

void ensureDatabaseFile(const std::string& path, const std::string& label, bool create) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            throw StoreFailure(StoreTrouble::CannotOpen, "the store " + label + " is not a regular file");
        }
        return;
    }
    if (errno != ENOENT) {
        throw StoreFailure(StoreTrouble::CannotOpen,
                           "the store " + label + " cannot be opened: " + errorText(errno));
    }
    if (!create) {
        throw StoreFailure(StoreTrouble::CannotOpen,
                           "the store " + label + " is gone: restore it from a backup");
    }
    const int descriptor =
        openAsOwner(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    if (descriptor >= 0) {
        close(descriptor);
    } else if (errno != EEXIST) {
        cannotCreate(path, label, errno);
    } else if (stat(path.c_str(), &status) != 0) {
        // No other process was quicker: SQLite would follow the link and make a file wherever it leads.
        throw StoreFailure(
            StoreTrouble::CannotOpen,
            "the store " + label + " is a link to a file that is not there: name the file itself");
    }
}

} // namespace quzo::platform
