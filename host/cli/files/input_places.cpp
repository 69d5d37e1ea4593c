// Checked before the first message is read: afterwards it may be too late for one of them.
#include "host/cli/files/input_places.h"

#include <system_error>

#include "host/base/exit_code.h"
#include "host/cli/files/directory_walk.h"
#include "host/cli/files/inputs.h"

namespace quzo::host {
namespace {

// The directory itself, or else the nearest one above that is there.
std::filesystem::path existingPart(const std::string& path) {
    std::error_code error;
    std::filesystem::path part = std::filesystem::weakly_canonical(path, error);
    while (!std::filesystem::exists(part, error) && part.has_relative_path()) {
        part = part.parent_path();
    }
    return part;
}

} // namespace

MaybeFault InputPlaces::check(const std::string& output, const std::vector<std::string>& inputPaths) {
    std::set<std::string> names;
    for (const std::string& path : inputPaths) {
        const std::string name = outputName(path);
        if (!names.insert(name).second) {
            return Fault{kExitUsage, path,
                         std::string("has the same output name as another input, ")
                             .append(output)
                             .append("/")
                             .append(name),
                         "apply them one by one with different output folders"};
        }
        if (MaybeFault fault = path == "-" ? std::nullopt : checkInput(output, path, inputPaths.size() > 1)) {
            return fault;
        }
    }
    struct stat status {};
    if (::stat(output.c_str(), &status) == 0) {
        learnFolders(inputPaths);
        if (contains(status)) {
            return Fault{kExitUsage, output, "is a folder of the input", "choose a folder outside of it"};
        }
    }
    return std::nullopt;
}

MaybeFault InputPlaces::checkInput(const std::string& output, const std::string& path, bool several) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt; // whoever reads it says so
    }
    add(status);
    if (S_ISDIR(status.st_mode) && holds(existingPart(output))) {
        return Fault{kExitUsage, output, "lies in the input folder " + path, "choose a folder outside of it"};
    }
    const std::string place = output + "/" + outputName(path);
    struct stat target {};
    if ((!S_ISDIR(status.st_mode) || several) && ::stat(place.c_str(), &target) == 0 &&
        target.st_dev == status.st_dev && target.st_ino == status.st_ino) {
        return Fault{kExitUsage, path, "would be replaced by its own output", "choose another output folder"};
    }
    return std::nullopt;
}

// Whether the directory is one of the inputs or lies below one.
bool InputPlaces::holds(std::filesystem::path at) const {
    struct stat status {};
    while (::stat(at.c_str(), &status) == 0) {
        if (contains(status)) {
            return true;
        }
        if (!at.has_relative_path()) {
            break;
        }
        at = at.parent_path();
    }
    return false;
}

// All directories of the inputs: one that was there before may be one of them by another path, or hold a way
// to one.
void InputPlaces::learnFolders(const std::vector<std::string>& inputPaths) {
    for (const std::string& path : inputPaths) {
        struct stat status {};
        if (path == "-" || ::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
            continue;
        }
        DirectoryWalk walk(path, [this](const struct stat& folder) { add(folder); });
        for (DirectoryWalk::File file; walk.next(file);) {
        }
    }
}

} // namespace quzo::host
