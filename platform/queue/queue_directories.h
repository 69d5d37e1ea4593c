// The directories of one queue: a root, below it one for the first and below that one for the second
// character of the identifiers.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

    // A directory that may be new, and what it hangs on.
    struct Way {
        FileHandle root;
        FileHandle outer;
        FileHandle inner;
        // Which of them were made just now.
        bool newRoot = false;
        bool newOuter = false;
        bool newInner = false;
    };

    // The same, made with all above it when it is not there. What is made may not survive a crash yet.
    int make(std::string_view place, Way& out);

    // Makes the way survive a crash. Called before the first name is published there; after the files have
    // been synced it costs little.
    int settle(std::string_view place, const Way& way);

    // Visits each directory that is there, in order, with its place, until `visit` returns false. One that
    // cannot be opened is left out; returns 0 or the first errno value.
    using Visitor = std::function<bool(std::string_view place, const FileHandle& directory)>;
    int forEach(const Visitor& visit) const;

private:
    int makeRoot(Way& out);
    int makeBelow(const FileHandle& parent, char name, bool& fresh, FileHandle& out);
    int syncWay(const Way& way);
    std::size_t nextEnd(std::size_t end) const;
    bool hasEntry(const FileHandle& directory, std::string_view place) const;
    // The names of one of our characters in a directory, in order.
    int listPlaces(const FileHandle& directory, std::vector<char>& out) const;

    FileSystem& files_;
    std::string root_;
    // Whose names are known to survive a crash. A directory that somebody else has just made may not, so the
    // first look at one without entries syncs the way to it.
    std::atomic<bool> rootDurable_{false};
    std::array<std::atomic<bool>, 36> outerDurable_{};
    std::array<std::array<std::atomic<bool>, 36>, 36> innerDurable_{};
};

} // namespace quzo::platform
