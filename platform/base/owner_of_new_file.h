// To whom belongs what the superuser makes: to the owner and the group of the directory that it is made in.
//
// The service runs as a user of its own, and administrators run the same commands as root, in the same
// directories. What they make there has to be usable for the service: a file of root's in a queue would be
// mail that nobody delivers.
//
// The owner is not changed afterwards. The thread takes on the identity for files of that owner while it
// makes the thing, so there is no moment at which it is root's, and somebody who swaps names in his directory
// gets nothing that he could not have made himself.
#pragma once

#include <sys/types.h>

#include <string>

namespace quzo::platform {

// What stands between its beginning and its end is done, by this thread alone, with the rights that the owner
// of the directory has on files. Nothing for programs that are not run by the superuser. Leaves errno alone.
//
//     const AsOwner owner(AT_FDCWD, path);
//     const int made = owner.error() != 0 ? -1 : ::openat(owner.directory(), owner.name(), ...);
class AsOwner {
public:
    // `path` is what is to be made, from `directory` on: an open directory, which outlives it, or AT_FDCWD.
    AsOwner(int directory, const char* path);
    ~AsOwner();
    AsOwner(const AsOwner&) = delete;
    AsOwner& operator=(const AsOwner&) = delete;

    // 0, or the errno value for which the owner is not known or cannot be taken on: nothing may be made then.
    int error() const { return error_; }

    // Where to make it, and its name there.
    int directory() const { return directory_; }
    const char* name() const { return name_.c_str(); }

private:
    void takeOn();
    void giveBack() noexcept;

    int directory_;
    std::string name_;
    int opened_ = -1;
    int error_ = 0;
    bool changed_ = false;
};

// openat() for a file that is to be made, and mkdirat(): with errno, and -1 on failure. An open() of what is
// there already is done with the owner's rights too.
int openAsOwner(int directory, const char* path, int flags, mode_t mode);
int makeDirectoryAsOwner(int directory, const char* path, mode_t mode);

} // namespace quzo::platform
