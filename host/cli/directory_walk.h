// The files below a directory, in sorted order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/cli/fault.h"

namespace quzo::host {

// Walks depth-first, the names of each directory sorted by their bytes, so that two runs see the same
// order. Links are not followed. In a directory that has both "cur" and "new" (a Maildir) "tmp" is passed
// over: what lies there is still being delivered. Holds the names of the directories on the way down,
// never the whole tree.
class DirectoryWalk {
public:
    explicit DirectoryWalk(std::string root) { enter(std::move(root), {}); }

    struct File {
        std::string path;     // ROOT/a/b
        std::string relative; // a/b
        MaybeFault fault;     // a directory that cannot be read, named by path
    };

    // The next regular file or fault; false at the end.
    bool next(File& file);

private:
    struct Entry {
        std::string name;
        bool directory = false;
    };
    struct Level {
        std::string path;
        std::string relative; // with a '/' at its end, or empty
        std::vector<Entry> entries;
        std::size_t at = 0;
    };

    void enter(std::string path, std::string relative);

    std::vector<Level> levels_;
    MaybeFault fault_;
};

} // namespace quzo::host
