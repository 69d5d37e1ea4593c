// See store_copy.h.
//
// A second session reads what was last committed, whatever the mode of the journal, and writes it into a file
// that is there already, so that nobody else can read it meanwhile. SQLite syncs nothing of such a copy.
#include "platform/store/store_copy.h"

#include <fcntl.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/queue/file_system.h"
#include "platform/store/query.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

constexpr mode_t kMode = 0600; // while it is written

[[noreturn]] void cannotCopy(const std::string& label, int error) {
    const bool full = error == ENOSPC || error == EDQUOT;
    throw StoreFailure(full ? StoreTrouble::NoSpace : StoreTrouble::CannotOpen,
                       "the store " + label + " cannot be copied before its format is changed: " +
                           (full ? "make room on its disk" : std::generic_category().message(error)));
}

// Owner and mode of `there`. Who may not give a file away lets nobody but himself read it.
int makeAlike(int copy, const struct stat& there) {
    struct stat here {};
    mode_t mode = there.st_mode & 0777U;
    if (::fstat(copy, &here) != 0) {
        return errno;
    }
    if ((here.st_uid != there.st_uid || here.st_gid != there.st_gid) &&
        ::fchown(copy, there.st_uid, there.st_gid) != 0) {
        if (::geteuid() == 0) {
            return errno;
        }
        mode &= 0700U;
    }
    return ::fchmod(copy, mode) != 0 ? errno : 0;
}

int syncFolderOf(const std::string& path) {
    FileSystem& files = FileSystem::real();
    FileHandle folder;
    const std::string name = path.substr(0, path.rfind('/') + 1);
    const int error = files.openAt(AT_FDCWD, name.c_str(), O_RDONLY | O_DIRECTORY, 0, folder);
    return error != 0 ? error : files.sync(folder.get());
}

void copyInto(const ConnectionTarget& target, const std::string& file) {
    try {
        soci::session reader(soci::sqlite3, target.connection);
        Query(reader, "vacuum into :file").use(file).change();
    } catch (const soci::sqlite3_soci_error& failure) {
        constexpr int kPrimary = 0xFF; // the rest is detail
        if ((failure.result() & kPrimary) == SQLITE_FULL) {
            cannotCopy(target.label, ENOSPC);
        }
        throw;
    }
}

} // namespace

StoreCopy::~StoreCopy() {
    if (!path_.empty() && !kept_) {
        FileSystem::real().unlink(AT_FDCWD, path_.c_str());
    }
}

void StoreCopy::make(const ConnectionTarget& target, long long format) {
    FileSystem& files = FileSystem::real();
    const std::string store = std::filesystem::canonical(target.path).string();
    base_ = store + ".format-" + std::to_string(format);
    label_ = target.label;
    const std::string name = base_ + ".new";
    // What a process that was killed has left, with the journal of it: who has the lock is alone here.
    files.unlink(AT_FDCWD, name.c_str());
    files.unlink(AT_FDCWD, (name + "-journal").c_str());
    struct stat status {};
    FileHandle file;
    int error = files.statAt(AT_FDCWD, store.c_str(), status);
    error =
        error == 0 ? files.openAt(AT_FDCWD, name.c_str(), O_WRONLY | O_CREAT | O_EXCL, kMode, file) : error;
    if (error != 0) {
        cannotCopy(label_, error);
    }
    path_ = name;
    copyInto(target, path_);
    error = makeAlike(file.get(), status);
    error = error == 0 ? files.sync(file.get()) : error;
    error = error == 0 ? syncFolderOf(path_) : error;
    if (error != 0) {
        cannotCopy(label_, error);
    }
}

void StoreCopy::giveName() {
    constexpr int kMostNames = 1000;
    std::string name = base_;
    int error = FileSystem::real().renameNew(AT_FDCWD, path_.c_str(), name.c_str());
    for (int number = 2; error == EEXIST && number <= kMostNames; ++number) {
        name = base_ + "-" + std::to_string(number);
        error = FileSystem::real().renameNew(AT_FDCWD, path_.c_str(), name.c_str());
    }
    if (error == 0) {
        path_ = name;
        error = syncFolderOf(path_);
    }
    if (error != 0) {
        cannotCopy(label_, error);
    }
}

} // namespace quzo::platform
