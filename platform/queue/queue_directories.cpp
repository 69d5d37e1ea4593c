// See queue_directories.h.
#include "platform/queue/queue_directories.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "platform/queue/queue_names.h"

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

int QueueDirectories::listPlaces(const FileHandle& directory, std::vector<char>& out) const {
    std::vector<std::string> names;
    const int error = files_.list(directory.get(), names);
    out.clear();
    for (const std::string& name : names) {
        if (name.size() == 1 && kCharacters.find(name[0]) != std::string_view::npos) {
            out.push_back(name[0]);
        }
    }
    std::sort(out.begin(), out.end());
    return error;
}

int QueueDirectories::forEach(const Visitor& visit) const {
    FileHandle root;
    std::vector<char> outers;
    int firstError = files_.openAt(AT_FDCWD, root_.c_str(), kRootFlags, 0, root);
    if (firstError != 0) {
        return firstError == ENOENT ? 0 : firstError;
    }
    const auto keep = [&firstError](int error) { firstError = firstError != 0 ? firstError : error; };
    keep(listPlaces(root, outers));
    for (const char first : outers) {
        FileHandle outer;
        std::vector<char> inners;
        int error = files_.openAt(root.get(), Name(first).text, kInnerFlags, 0, outer);
        keep(error != 0 ? error : listPlaces(outer, inners));
        for (const char second : inners) {
            FileHandle inner;
            error = files_.openAt(outer.get(), Name(second).text, kInnerFlags, 0, inner);
            keep(error);
            const char place[] = {first, second};
            if (error == 0 && !visit(std::string_view(place, 2), inner)) {
                return firstError;
            }
        }
    }
    return firstError;
}

int QueueDirectories::make(std::string_view place, Way& out) {
    int error = makeRoot(out);
    if (error == 0) {
        error = makeBelow(out.root, place[0], out.newOuter, out.outer);
    }
    return error != 0 ? error : makeBelow(out.outer, place[1], out.newInner, out.inner);
}

int QueueDirectories::settle(std::string_view place, const Way& way) {
    const std::size_t first = kCharacters.find(place[0]);
    std::atomic<bool>& outerDurable = outerDurable_[first];
    std::atomic<bool>& innerDurable = innerDurable_[first][kCharacters.find(place[1])];
    if (!way.newInner && !innerDurable && hasEntry(way.inner, place)) {
        innerDurable = outerDurable = rootDurable_ = true;
    }
    int error = 0;
    const auto settleOne = [&](bool fresh, std::atomic<bool>& durable, const auto& sync) {
        if (error == 0 && (fresh || !durable)) {
            error = sync();
            durable = durable || error == 0;
        }
    };
    settleOne(way.newInner, innerDurable, [&] { return files_.sync(way.outer.get()); });
    settleOne(way.newOuter, outerDurable, [&] { return files_.sync(way.root.get()); });
    settleOne(way.newRoot, rootDurable_, [&] { return syncWay(way); });
    return error;
}

// Whoever published an entry here has synced the way to it before.
bool QueueDirectories::hasEntry(const FileHandle& directory, std::string_view place) const {
    std::vector<std::string> names;
    if (files_.list(directory.get(), names) != 0) {
        return false;
    }
    const DirectoryNames sorted = sortNames(names, place);
    return std::any_of(sorted.entries.begin(), sorted.entries.end(),
                       [](const auto& entry) { return entry.second.state != EntryState::None; });
}

// Makes what is missing of the way to the root, from the top down.
int QueueDirectories::makeRoot(Way& out) {
    int error = files_.openAt(AT_FDCWD, root_.c_str(), kRootFlags, 0, out.root);
    if (error != ENOENT || root_.empty()) {
        return error;
    }
    for (std::size_t end = nextEnd(0); end != 0; end = nextEnd(end)) {
        error = files_.makeDirectory(AT_FDCWD, root_.substr(0, end).c_str(), kMode);
        if (error != 0 && error != EEXIST) {
            return error;
        }
    }
    out.newRoot = true;
    return files_.openAt(AT_FDCWD, root_.c_str(), kRootFlags, 0, out.root);
}

// Where the next name of the root's path ends, behind the one that ends at `end`; 0 behind the last.
std::size_t QueueDirectories::nextEnd(std::size_t end) const {
    const std::size_t begin = root_.find_first_not_of('/', end);
    return begin == std::string::npos ? 0 : std::min(root_.find('/', begin), root_.size());
}

// Syncs what holds each name of the root's path, since some process that was killed may have made any. What
// we may not open can only be synced with all else on its disk.
int QueueDirectories::syncWay(const Way& way) {
    for (std::size_t end = nextEnd(0); end != 0; end = nextEnd(end)) {
        const std::size_t slash = root_.find_last_of('/', end - 1);
        const std::string holder = slash == std::string::npos ? "." : root_.substr(0, slash + 1);
        FileHandle directory;
        int error = files_.openAt(AT_FDCWD, holder.c_str(), kRootFlags, 0, directory);
        if (error == EACCES) {
            return files_.syncAll(way.root.get());
        }
        error = error != 0 ? error : files_.sync(directory.get());
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

int QueueDirectories::makeBelow(const FileHandle& parent, char name, bool& fresh, FileHandle& out) {
    const Name text(name);
    int error = files_.openAt(parent.get(), text.text, kInnerFlags, 0, out);
    if (error == ENOENT) {
        error = files_.makeDirectory(parent.get(), text.text, kMode);
        fresh = error == 0;
        if (error == 0 || error == EEXIST) {
            error = files_.openAt(parent.get(), text.text, kInnerFlags, 0, out);
        }
    }
    return error;
}

} // namespace quzo::platform
