// The directories of one queue: a root, below it one for the first and below that one for the second
// character of the identifiers.
#pragma once

#include <array>
#include <atomic>
#include <string>
#include <string_view>

#include "platform/queue/file_system.h"

namespace quzo::platform {

// Inside the queue no symbolic link is followed; the way to its root may have some. Directories are opened
// for each operation: one that somebody moved away and made anew is found again. Callable from any thread.
class QueueDirectories {
public:
    // The characters that identifiers begin with.
    static constexpr std::string_view kCharacters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

    QueueDirectories(FileSystem& files, std::string root) : files_(files), root_(std::move(root)) {}

    const std::string& root() const { return root_; }

    // The directory where `place`, two of kCharacters, belongs. Returns 0 or an errno value; ENOENT when
    // there is none.
    int open(std::string_view place, FileHandle& out) const;

    // The same, made with all above it when it is not there. On success its name, and what was made above,
    // survives a crash.
    int make(std::string_view place, FileHandle& out);

private:
    int makeRoot(FileHandle& out);
    int makeBelow(const FileHandle& parent, char name, std::atomic<bool>& durable, FileHandle& out);

    FileSystem& files_;
    std::string root_;
    // Which names are known to be synced. Somebody else's new directory may not be yet when we first see it.
    std::atomic<bool> rootDurable_{false};
    std::array<std::atomic<bool>, 36> outerDurable_{};
    std::array<std::array<std::atomic<bool>, 36>, 36> innerDurable_{};
};

} // namespace quzo::platform
