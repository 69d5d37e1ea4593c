// The system calls that the queues make, in one place.
//
// Each public operation repeats a call that a signal interrupted and finishes a write that came out short, so
// nobody above has to think of either. The protected functions are single calls; tests override them to fail
// at any one, to leave syncing out, or to die there.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

class FileSystem;

// Owns a file descriptor. Errors of closing are dropped: what must last has been synced before.
class FileHandle {
public:
    FileHandle() = default;
    FileHandle(FileSystem& files, int descriptor) : files_(&files), descriptor_(descriptor) {}
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle() { reset(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    void reset() noexcept;

private:
    FileSystem* files_ = nullptr;
    int descriptor_ = -1;
};

// Results are 0 or an errno value. A directory argument is an open directory or AT_FDCWD; names are C
// strings. Callable from any thread. Nothing throws but std::bad_alloc, from openAt() and list().
class FileSystem {
public:
    FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;
    virtual ~FileSystem() = default;

    // The one that everything but tests uses.
    static FileSystem& real();

    // O_CLOEXEC is added to the flags. What it makes, as what makeDirectory() makes, belongs to whom
    // platform/base/owner_of_new_file.h says; so O_CREAT is for names that are not there.
    int openAt(int directory, const char* name, int flags, mode_t mode, FileHandle& out);
    void close(int descriptor) noexcept;
    int writeAll(int descriptor, std::string_view bytes);
    // Reads up to `size` bytes and tells how many came; 0 at the end of the file.
    int read(int descriptor, char* buffer, std::size_t size, std::size_t& count);
    // Makes a file, or a directory's names, survive a crash.
    int sync(int descriptor);
    // The same for everything on the file system where it is.
    int syncAll(int descriptor);
    // Replaces what has the name `to`; atomic.
    int rename(int directory, const char* from, const char* to);
    // The same, but EEXIST when the name is taken; then nothing has changed.
    int renameNew(int directory, const char* from, const char* to);
    int unlink(int directory, const char* name);
    int makeDirectory(int directory, const char* name, mode_t mode);
    // Does not follow a link at the end.
    int statAt(int directory, const char* name, struct stat& out);
    int stat(int descriptor, struct stat& out);
    // All names but "." and "..", in no order, from the first one however often it is called. What is renamed
    // between two reads of the system may be missed under both names, so the buffer grows to 64 MiB, half a
    // million names, to get them by one read. `atOnce` may be null and says whether that came off; some file
    // systems never give more than a few names.
    int list(int directory, std::vector<std::string>& names, bool* atOnce = nullptr);
    // Locks the open file for this descriptor alone, until it is closed; EWOULDBLOCK when another has it.
    int tryLock(int descriptor);
    // Sets the time of the last change, in seconds since 1970.
    int setTime(int descriptor, std::int64_t seconds);

protected:
    // Results and errno as the system's own.
    virtual int callOpen(int directory, const char* name, int flags, mode_t mode);
    virtual int callClose(int descriptor);
    virtual ssize_t callWrite(int descriptor, const char* bytes, std::size_t size);
    virtual ssize_t callRead(int descriptor, char* buffer, std::size_t size);
    virtual int callSync(int descriptor);
    virtual int callSyncAll(int descriptor);
    virtual int callRename(int directory, const char* from, const char* to, unsigned flags);
    virtual int callLink(int directory, const char* from, const char* to);
    virtual int callUnlink(int directory, const char* name);
    virtual int callMakeDirectory(int directory, const char* name, mode_t mode);
    virtual int callStatAt(int directory, const char* name, struct stat* out);
    virtual int callStat(int descriptor, struct stat* out);
    virtual ssize_t callList(int directory, void* buffer, std::size_t size);
    virtual int callRewind(int directory);
    virtual int callLock(int descriptor);
    virtual int callSetTime(int descriptor, std::int64_t seconds);
};

} // namespace quzo::platform
