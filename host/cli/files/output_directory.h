// The directory of -o: each message under a name of its own, whole or not at all.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/fault.h"
#include "host/cli/console/file_io.h"
#include "host/cli/files/input_places.h"

namespace quzo::host {

// Every message is written to a temporary name beside its place and renamed, so nobody ever sees half of
// one. A regular file of the same name is replaced; anything else in the way is a fault. Nothing is written
// outside the directory: names with "." or ".." are refused and links on the way are not followed. Nothing
// is written into a directory that is an input or lies below one, and no input is replaced.
//
// store() may be called by several threads at once, with different names.
class OutputDirectory {
public:
    // Opens the directory and makes it, with its parents, when it is not there. Before that it is held
    // against the inputs (InputPlaces::check). `syncEach` makes every message durable before store() returns,
    // and the directories that lead to it.
    MaybeFault open(const std::string& path, const std::vector<std::string>& inputPaths, bool syncEach);

    // Gives the message to its argument piece by piece; a false from it must stop the writing.
    using Sink = std::function<bool(std::string_view piece)>;
    using Writer = std::function<void(const Sink& sink)>;

    struct Target {
        std::string name;           // a relative path with '/'
        std::size_t size = 0;       // a hint
        std::optional<mode_t> mode; // permissions of the file; none: those of any new file
    };

    // Stores what `write` gives.
    MaybeFault store(const Target& target, const Writer& write);

    // Makes everything stored so far durable: a few messages one by one, many by one synchronisation of the
    // whole file system, which also waits for what others have written there. Not while store() runs.
    MaybeFault sync() const;

    // The directory, as people know it.
    const std::string& path() const { return path_; }

    // Where a message of that name goes, as people know it.
    std::string pathOf(const std::string& name) const { return path_ + "/" + name; }

private:
    MaybeFault makeFolders();
    MaybeFault syncAncestors() const;
    MaybeFault prepareFolder(const std::string& name);
    MaybeFault checkFolder(const std::string& folder) const;
    MaybeFault checkPlace(const std::string& target) const;
    MaybeFault writeTemporary(const std::string& temporary, const Target& target, const Writer& write) const;
    void remember(const std::string& target);

    std::string path_;      // without a '/' at its end
    std::string firstMade_; // the topmost directory that was made for it; empty: it was there
    FileDescriptor directory_;
    InputPlaces inputs_;
    bool syncEach_ = false;
    std::atomic<unsigned> counter_ = 0;
    std::mutex mutex_;
    std::set<std::string> folders_;     // below the directory, seen to be in order; guarded by mutex_
    std::vector<std::string> unsynced_; // the first messages that sync() has to look after; guarded by mutex_
    std::size_t stored_ = 0;            // guarded by mutex_
};

} // namespace quzo::host
