// A disk in memory that can lose its power.
//
// It keeps what programs see apart from what has been synced: the bytes of a file by a sync of that file, the
// names in a directory by a sync of that directory. When the power goes, each change of a name that was not
// synced, of all directories, may have reached the disk or not, whatever became of the others; only those of
// one file come in their order, and a rename is one change. The bytes of a file that were not synced are what
// they were at its last sync, or the right number of NULs, or they are there. With a journal, the sync of a
// file takes along what was changed in its directory before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quzo::platform::test {

// Copying takes the whole of it.
class Disk {
public:
    Disk() { nodes.push_back({.directory = true}); }

    struct Change {
        std::string from; // the name that goes; empty: none
        std::string to;   // the name that comes; empty: none
        std::size_t node = 0;
    };
    struct Node {
        bool directory = false;
        std::string bytes = {}; // of a file
        std::string syncedBytes = {};
        std::map<std::string, std::size_t> names = {}; // of a directory
        std::map<std::string, std::size_t> syncedNames = {};
        std::vector<Change> changes = {}; // from the one to the other
        std::int64_t time = 0;
    };
    std::vector<Node> nodes; // the first is the root

    // What is found after the power went, once for each way in which it can have come out. All processes of
    // before are gone.
    void forEachOutcome(const std::function<void(const Disk&)>& visit) const;

    // The same after this process was killed and nothing else happened: unsynced things stay unsynced.
    Disk afterKill() const;

    // The files that can be reached, by their paths, with their bytes. `directories`: these too, with a slash
    // at the end.
    std::map<std::string, std::string> files(bool directories = false) const;

private:
    enum class Bytes { Synced, Nulls, Seen };
    // How many of its changes reached the disk, by node.
    using Reached = std::map<std::size_t, std::size_t>;
    Disk outcome(Reached reached, Bytes unsynced) const;
    Reached all() const;
    void forgetProcess();
};

} // namespace quzo::platform::test
