// See owner_of_new_file.h.
//
// setfsuid() and setfsgid() are of the calling thread, and they give root's rights on files up with the
// number. They tell nothing of failure: asked for no user, they say which one is in force. The system keeps
// core files from a process that has changed them, which is put back as well.
#include "platform/base/owner_of_new_file.h"

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace quzo::platform {
namespace {

constexpr auto kNoUser = static_cast<uid_t>(-1);
constexpr auto kNoGroup = static_cast<gid_t>(-1);

// Whether core files are kept, as it was before anybody changed identities.
int dumpable() {
    static const int kAtFirst = ::prctl(PR_GET_DUMPABLE);
    return kAtFirst;
}

bool isUser(uid_t user) { return static_cast<uid_t>(::setfsuid(kNoUser)) == user; }

bool isGroup(gid_t group) { return static_cast<gid_t>(::setfsgid(kNoGroup)) == group; }

} // namespace

AsOwner::AsOwner(int directory, const char* path) : directory_(directory), name_(path) {
    if (::geteuid() != 0) {
        return;
    }
    const int before = errno;
    while (name_.size() > 1 && name_.back() == '/') {
        name_.pop_back();
    }
    if (const std::size_t slash = name_.rfind('/'); slash != std::string::npos && name_.size() > 1) {
        opened_ = ::openat(directory, name_.substr(0, slash + 1).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        error_ = opened_ < 0 ? errno : 0;
        directory_ = opened_;
        name_.erase(0, slash + 1);
    }
    if (error_ == 0) {
        takeOn();
    }
    errno = before;
}

AsOwner::~AsOwner() {
    const int before = errno;
    giveBack();
    if (opened_ >= 0) {
        ::close(opened_);
    }
    errno = before;
}

void AsOwner::takeOn() {
    struct stat status {};
    if (::fstatat(directory_, ".", &status, 0) != 0) {
        error_ = errno;
        return;
    }
    if (isUser(status.st_uid) && isGroup(status.st_gid)) {
        return;
    }
    dumpable();
    changed_ = true;
    ::setfsgid(status.st_gid);
    ::setfsuid(status.st_uid);
    if (!isUser(status.st_uid) || !isGroup(status.st_gid)) {
        giveBack();
        error_ = EPERM;
    }
}

void AsOwner::giveBack() noexcept {
    if (changed_) {
        ::setfsuid(::geteuid());
        ::setfsgid(::getegid());
        if (dumpable() == 1) {
            ::prctl(PR_SET_DUMPABLE, 1);
        }
        changed_ = false;
    }
}

int openAsOwner(int directory, const char* path, int flags, mode_t mode) {
    const AsOwner owner(directory, path);
    if (owner.error() != 0) {
        errno = owner.error();
        return -1;
    }
    return ::openat(owner.directory(), owner.name(), flags, mode);
}

int makeDirectoryAsOwner(int directory, const char* path, mode_t mode) {
    const AsOwner owner(directory, path);
    if (owner.error() != 0) {
        errno = owner.error();
        return -1;
    }
    return ::mkdirat(owner.directory(), owner.name(), mode);
}

} // namespace quzo::platform
