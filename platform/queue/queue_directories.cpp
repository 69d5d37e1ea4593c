// See queue_directories.h.
#include "platform/queue/queue_directories.h"

#include <fcntl.h>

#include <cerrno>

namespace quzo::platform {
namespace {

constexpr int kRootFlags = O_RDONLY | O_DIRECTORY;
constexpr int kInnerFlags = kRootFlags | O_NOFOLLOW;
constexpr mode_t kMode = 0700; // mail is nobody else's business

struct Name {
    explicit Name(char c) : text{c, '\0'} {}
    char text[2];
};

} // namespace

int QueueDirectories::open(std::string_view place, FileHandle& out) const {
    FileHandle root;
    FileHandle outer;
    int error = files_.openAt(AT_FDCWD, root_.c_str(), kRootFlags, 0, root);
    if (error == 0) {
        error = files_.openAt(root.get(), Name(place[0]).text, kInnerFlags, 0, outer);
    }
    return error != 0 ? error : files_.openAt(outer.get(), Name(place[1]).text, kInnerFlags, 0, out);
}

int QueueDirectories::make(std::string_view place, FileHandle& out) {
    const std::size_t first = kCharacters.find(place[0]);
    const std::size_t second = kCharacters.find(place[1]);
    FileHandle root;
    FileHandle outer;
    int error = makeRoot(root);
    if (error == 0) {
        error = makeBelow(root, place[0], outerDurable_[first], outer);
    }
    return error != 0 ? error : makeBelow(outer, place[1], innerDurable_[first][second], out);
}

// Makes what is missing of the way, from the top down, and syncs the directory that holds each new name.
int QueueDirectories::makeRoot(FileHandle& out) {
    if (rootDurable_) {
        const int error = files_.openAt(AT_FDCWD, root_.c_str(), kRootFlags, 0, out);
        if (error != ENOENT) {
            return error;
        }
    }
    if (root_.empty()) {
        return ENOENT;
    }
    for (std::size_t begin = root_.find_first_not_of('/'); begin < root_.size();) {
        const std::size_t end = std::min(root_.find('/', begin), root_.size());
        const int error = files_.makeDirectory(AT_FDCWD, root_.substr(0, end).c_str(), kMode);
        if (error != 0 && error != EEXIST) {
            return error;
        }
        begin = std::min(root_.find_first_not_of('/', end), root_.size());
        if (error == 0 || begin == root_.size()) {
            const std::size_t slash = root_.rfind('/', end - 1);
            const std::string parent = slash == std::string::npos ? "." : root_.substr(0, slash + 1);
            FileHandle holder;
            if (const int openError = files_.openAt(AT_FDCWD, parent.c_str(), kRootFlags, 0, holder)) {
                return openError;
            }
            if (const int syncError = files_.sync(holder.get())) {
                return syncError;
            }
        }
    }
    const int error = files_.openAt(AT_FDCWD, root_.c_str(), kRootFlags, 0, out);
    rootDurable_ = rootDurable_ || error == 0;
    return error;
}

int QueueDirectories::makeBelow(const FileHandle& parent, char name, std::atomic<bool>& durable,
                                FileHandle& out) {
    const Name text(name);
    int error = files_.openAt(parent.get(), text.text, kInnerFlags, 0, out);
    bool fresh = false;
    if (error == ENOENT) {
        error = files_.makeDirectory(parent.get(), text.text, kMode);
        fresh = error == 0;
        if (error == 0 || error == EEXIST) {
            error = files_.openAt(parent.get(), text.text, kInnerFlags, 0, out);
        }
    }
    if (error == 0 && (fresh || !durable)) {
        error = files_.sync(parent.get());
        durable = durable || error == 0;
    }
    return error;
}

} // namespace quzo::platform
