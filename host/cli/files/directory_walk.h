// The files below a directory, in sorted order.
#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/fault.h"

namespace quzo::host {

// Walks depth-first, the names of each directory sorted by their bytes, so that two runs see the same
// order. Links are not followed. A directory that has both "cur" and "new" is a Maildir. Holds the names of
// the directories on the way down, never the whole tree.
class DirectoryWalk {
public:
    // Told of each directory that is entered. May be empty.
    using Entered = std::function<void(const struct stat& status)>;

    explicit DirectoryWalk(std::string root, Entered entered = {});

    struct File {
        std::string path;       // ROOT/a/b
        std::string relative;   // a/b
        MaybeFault fault;       // a directory that cannot be read, named by path
        bool isMessage = false; // the name or the place says so: *.eml, or in cur or new of a Maildir
        bool inMaildir = false; // one message then, whatever it looks like
        const char* passedOver = nullptr; // why it is not read; null when it is to be read
    };

    // The next entry that is no directory, or fault; false at the end.
    bool next(File& file);

private:
    enum class Kind : std::uint8_t { Folder, File, Link, Other };
    enum class Place : std::uint8_t { Ordinary, Delivered, Undelivered }; // the latter two in a Maildir
    struct Entry {
        std::string name;
        Kind kind = Kind::Other;
    };
    struct Level {
        std::string path;
        std::string relative; // with a '/' at its end, or empty
        Place place = Place::Ordinary;
        bool maildir = false;
        std::vector<Entry> entries{};
        std::size_t at = 0;

        bool hasFolder(std::string_view name) const;
        Place placeOf(const Entry& folder) const;
    };

    static Kind kindOf(int parent, const dirent& entry);
    static Place placeOfRoot(const std::string& root);
    static File describe(const Level& level, const Entry& entry, std::string path);
    void enter(std::string path, std::string relative, Place place);
    void read(int descriptor, DIR* directory, Level& level);

    Entered entered_;
    std::vector<Level> levels_;
    MaybeFault fault_;
};

} // namespace quzo::host
