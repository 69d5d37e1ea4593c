// System calls, repeated when a signal came between. See file_system.h.
#include "platform/queue/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace quzo::platform {
namespace {

constexpr std::size_t kListBuffer = std::size_t{256} << 10U;

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

int FileSystem::list(int directory, std::vector<std::string>& names) {
    names.clear();
    const std::unique_ptr<char[]> buffer(new char[kListBuffer]);
    while (true) {
        ssize_t size = 0;
        if (const int error = repeat(size, [&] { return callList(directory, buffer.get(), kListBuffer); })) {
            return error;
        }
        if (size == 0) {
            return 0;
        }
        for (ssize_t at = 0; at < size;) {
            // Records are aligned by the system; only the length and the name are read, as bytes.
            unsigned short length = 0;
            std::memcpy(&length, buffer.get() + at + offsetof(dirent64, d_reclen), sizeof length);
            const char* name = buffer.get() + at + offsetof(dirent64, d_name);
            if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
                names.emplace_back(name);
            }
            at += length;
        }
    }
}

int FileSystem::callOpen(int directory, const char* name, int flags, mode_t mode) {
    return ::openat(directory, name, flags, mode);
}

int FileSystem::callClose(int descriptor) { return ::close(descriptor); }

ssize_t FileSystem::callWrite(int descriptor, const char* bytes, std::size_t size) {
    return ::write(descriptor, bytes, size);
}

ssize_t FileSystem::callRead(int descriptor, char* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}

int FileSystem::callSync(int descriptor) { return ::fsync(descriptor); }

int FileSystem::callRename(int directory, const char* from, const char* to, unsigned flags) {
    return ::renameat2(directory, from, directory, to, flags);
}

int FileSystem::callLink(int directory, const char* from, const char* to) {
    return ::linkat(directory, from, directory, to, 0);
}

int FileSystem::callUnlink(int directory, const char* name) { return ::unlinkat(directory, name, 0); }

int FileSystem::callMakeDirectory(int directory, const char* name, mode_t mode) {
    return ::mkdirat(directory, name, mode);
}

int FileSystem::callStatAt(int directory, const char* name, struct stat* out) {
    return ::fstatat(directory, name, out, AT_SYMLINK_NOFOLLOW);
}

int FileSystem::callStat(int descriptor, struct stat* out) { return ::fstat(descriptor, out); }

ssize_t FileSystem::callList(int directory, void* buffer, std::size_t size) {
    return ::getdents64(directory, buffer, size);
}

} // namespace quzo::platform
