// What an output directory must keep its hands off: the inputs.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/base/fault.h"

namespace quzo::host {

// Files and directories are told apart by device and inode, so that another path to the same place (a link, a
// file system that is mounted twice) is known for what it is.
class InputPlaces {
public:
    // Holds an output directory, which need not be there yet, against the inputs: two inputs of the same
    // output name, an input that an output would replace, and an output directory that is or lies in an input
    // directory are faults.
    MaybeFault check(const std::string& output, const std::vector<std::string>& inputPaths);

    // Whether this is an input: a path given to check(), or, when the output directory was there, a directory
    // below one.
    bool contains(const struct stat& status) const { return ids_.contains({status.st_dev, status.st_ino}); }

private:
    void add(const struct stat& status) { ids_.insert({status.st_dev, status.st_ino}); }
    MaybeFault checkInput(const std::string& output, const std::string& path, bool several);
    bool holds(std::filesystem::path at) const;
    void learnFolders(const std::vector<std::string>& inputPaths);

    std::set<std::pair<dev_t, ino_t>> ids_;
};

} // namespace quzo::host
