// A file system in memory, on a disk that can lose its power: see disk.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/queue/file_system.h"
#include "tests/queue/disk.h"

namespace quzo::platform::test {

// One process's view; descriptors are its own. Results and errno as the system's. For one thread.
class MemoryFileSystem final : public FileSystem {
public:
    explicit MemoryFileSystem(Disk start) : disk(std::move(start)) {}

    Disk disk;
    std::int64_t now = 0;        // of what is written
    bool exclusiveRename = true; // false: EINVAL, as on old file systems
    bool journal = false;
    std::size_t listed = 100'000; // names that one read of a directory gives
    std::string closed;           // path of a directory that may not be opened
    std::function<void()> before; // each change to the disk, syncs included; may be null
    // Before a listing reads on, with the last name that it gave; may be null.
    std::function<void(const std::string& last)> goingOn;

    // A change by somebody else, unsynced. The names are in that directory.
    void rename(const std::string& directory, const std::string& from, const std::string& to);

protected:
    int callOpen(int directory, const char* name, int flags, mode_t mode) override;
    int callClose(int descriptor) override;
    ssize_t callWrite(int descriptor, const char* bytes, std::size_t size) override;
    ssize_t callRead(int descriptor, char* buffer, std::size_t size) override;
    int callSync(int descriptor) override;
    int callSyncAll(int descriptor) override;
    int callRename(int directory, const char* from, const char* to, unsigned flags) override;
    int callLink(int directory, const char* from, const char* to) override;
    int callUnlink(int directory, const char* name) override;
    int callMakeDirectory(int directory, const char* name, mode_t mode) override;
    int callStatAt(int directory, const char* name, struct stat* out) override;
    int callStat(int descriptor, struct stat* out) override;
    ssize_t callList(int directory, void* buffer, std::size_t size) override;
    int callRewind(int directory) override;
    int callLock(int descriptor) override;
    int callSetTime(int descriptor, std::int64_t seconds) override;

private:
    struct Open {
        std::size_t node = 0;
        std::size_t at = 0;    // of a file
        std::string last = {}; // name that a listing gave
        bool begun = false;
    };
    struct Place {
        std::size_t directory = 0;
        std::string name; // empty: the directory itself
    };

    // Sets errno and returns false when a directory on the way is missing.
    bool find(int directory, std::string_view path, Place& out) const;
    std::optional<std::size_t> nodeAt(const Place& place) const;
    std::size_t make(const Place& place, bool directory);
    void change(std::size_t directory, const std::string& from, const std::string& to, std::size_t node);
    void announce() const {
        if (before) {
            before();
        }
    }
    void syncNames(std::size_t directory);
    int statNode(std::size_t node, struct stat* out) const;

    std::map<int, Open> open_;
    int next_ = 1000; // descriptor
};

} // namespace quzo::platform::test
