// System calls, repeated when a signal came between. See file_system.h.
#include "platform/queue/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/base/owner_of_new_file.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kListBuffer = std::size_t{256} << 10U;
constexpr std::size_t kMaxListBuffer = std::size_t{64} << 20U;

// Calls until no signal interrupts; 0 or errno, the call's result in `result`.
template <typename Result, typename Call>
int repeat(Result& result, Call&& call) {
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result < 0 ? errno : 0;
}

template <typename Call>
int repeat(Call&& call) {
    int result = 0;
    return repeat(result, std::forward<Call>(call));
}

// The names in what one read of a directory gave.
void addNames(std::string_view records, std::vector<std::string>& names) {
    while (!records.empty()) {
        // Records are aligned by the system; only the length and the name are read, as bytes.
        unsigned short length = 0;
        std::memcpy(&length, records.data() + offsetof(dirent64, d_reclen), sizeof length);
        const char* name = records.data() + offsetof(dirent64, d_name);
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
            names.emplace_back(name);
        }
        records.remove_prefix(length);
    }
}

} // namespace

FileHandle::FileHandle(FileHandle&& other) noexcept
    : files_(other.files_), descriptor_(std::exchange(other.descriptor_, -1)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    if (this != &other) {
        reset();
        files_ = other.files_;
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

void FileHandle::reset() noexcept {
    if (descriptor_ >= 0) {
        files_->close(std::exchange(descriptor_, -1));
    }
}

FileSystem& FileSystem::real() {
    static FileSystem files;
    return files;
}

int FileSystem::openAt(int directory, const char* name, int flags, mode_t mode, FileHandle& out) {
    int descriptor = -1;
    const int error = repeat(descriptor, [&] { return callOpen(directory, name, flags | O_CLOEXEC, mode); });
    out = FileHandle(*this, descriptor);
    return error;
}

// Not repeated: the descriptor is gone even when a signal came.
void FileSystem::close(int descriptor) noexcept { callClose(descriptor); }

int FileSystem::writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t count = 0;
        if (const int error =
                repeat(count, [&] { return callWrite(descriptor, bytes.data(), bytes.size()); })) {
            return error;
        }
        if (count == 0) {
            return EIO; // a file that takes nothing would keep us here for ever
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

int FileSystem::read(int descriptor, char* buffer, std::size_t size, std::size_t& count) {
    ssize_t result = 0;
    const int error = repeat(result, [&] { return callRead(descriptor, buffer, size); });
    count = error == 0 ? static_cast<std::size_t>(result) : 0;
    return error;
}

int FileSystem::sync(int descriptor) {
    return repeat([&] { return callSync(descriptor); });
}

int FileSystem::syncAll(int descriptor) {
    return repeat([&] { return callSyncAll(descriptor); });
}

int FileSystem::rename(int directory, const char* from, const char* to) {
    return repeat([&] { return callRename(directory, from, to, 0); });
}

int FileSystem::renameNew(int directory, const char* from, const char* to) {
    const int error = repeat([&] { return callRename(directory, from, to, RENAME_NOREPLACE); });
    if (error != EINVAL && error != ENOSYS) {
        return error;
    }
    // A file system without that flag: the second name is as exclusive.
    if (const int linkError = repeat([&] { return callLink(directory, from, to); })) {
        return linkError;
    }
    return unlink(directory, from);
}

int FileSystem::unlink(int directory, const char* name) {
    return repeat([&] { return callUnlink(directory, name); });
}

int FileSystem::makeDirectory(int directory, const char* name, mode_t mode) {
    return repeat([&] { return callMakeDirectory(directory, name, mode); });
}

int FileSystem::statAt(int directory, const char* name, struct stat& out) {
    return repeat([&] { return callStatAt(directory, name, &out); });
}

int FileSystem::stat(int descriptor, struct stat& out) {
    return repeat([&] { return callStat(descriptor, &out); });
}

int FileSystem::list(int directory, std::vector<std::string>& names, bool* atOnce) {
    for (std::size_t size = kListBuffer;; size *= 4) {
        const std::unique_ptr<char[]> buffer(new char[size]);
        names.clear();
        if (const int error = repeat([&] { return callRewind(directory); })) {
            return error;
        }
        bool full = false;
        for (int reads = 0; !full; ++reads) {
            ssize_t filled = 0;
            if (const int error = repeat(filled, [&] { return callList(directory, buffer.get(), size); })) {
                return error;
            }
            if (filled == 0) {
                if (atOnce != nullptr) {
                    *atOnce = reads <= 1;
                }
                return 0;
            }
            addNames(std::string_view(buffer.get(), static_cast<std::size_t>(filled)), names);
            full = size < kMaxListBuffer && size - static_cast<std::size_t>(filled) < sizeof(dirent64);
        }
    }
}

int FileSystem::tryLock(int descriptor) {
    return repeat([&] { return callLock(descriptor); });
}

int FileSystem::setTime(int descriptor, std::int64_t seconds) {
    return repeat([&] { return callSetTime(descriptor, seconds); });
}

int FileSystem::callOpen(int directory, const char* name, int flags, mode_t mode) {
    return (flags & O_CREAT) != 0 ? openAsOwner(directory, name, flags, mode)
                                  : ::openat(directory, name, flags, mode);
}

int FileSystem::callClose(int descriptor) { return ::close(descriptor); }

ssize_t FileSystem::callWrite(int descriptor, const char* bytes, std::size_t size) {
    return ::write(descriptor, bytes, size);
}

ssize_t FileSystem::callRead(int descriptor, char* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}

int FileSystem::callSync(int descriptor) { return ::fsync(descriptor); }

int FileSystem::callSyncAll(int descriptor) { return ::syncfs(descriptor); }

int FileSystem::callRename(int directory, const char* from, const char* to, unsigned flags) {
    return ::renameat2(directory, from, directory, to, flags);
}

int FileSystem::callLink(int directory, const char* from, const char* to) {
    return ::linkat(directory, from, directory, to, 0);
}

int FileSystem::callUnlink(int directory, const char* name) { return ::unlinkat(directory, name, 0); }

int FileSystem::callMakeDirectory(int directory, const char* name, mode_t mode) {
    return makeDirectoryAsOwner(directory, name, mode);
}

int FileSystem::callStatAt(int directory, const char* name, struct stat* out) {
    return ::fstatat(directory, name, out, AT_SYMLINK_NOFOLLOW);
}

int FileSystem::callStat(int descriptor, struct stat* out) { return ::fstat(descriptor, out); }

ssize_t FileSystem::callList(int directory, void* buffer, std::size_t size) {
    return ::getdents64(directory, buffer, size);
}

int FileSystem::callRewind(int directory) { return ::lseek(directory, 0, SEEK_SET) < 0 ? -1 : 0; }

int FileSystem::callLock(int descriptor) { return ::flock(descriptor, LOCK_EX | LOCK_NB); }

int FileSystem::callSetTime(int descriptor, std::int64_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    return ::futimens(descriptor, times);
}

} // namespace quzo::platform
