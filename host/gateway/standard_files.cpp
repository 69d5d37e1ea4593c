// See standard_files.h.
#include "host/gateway/standard_files.h"

#include <sys/stat.h>

#include <cerrno>

namespace quzo::host {
namespace {

// The path, or nothing when there is surely no such file. A link counts, wherever it leads.
std::string fileIfThere(const std::string& folder, const char* name) {
    std::string path = folder + "/" + name;
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        path.clear();
    }
    return path;
}

} // namespace

const char* standardFolder() { return QUZO_CONFIG_DIR; }

StandardFiles standardFiles(const std::string& folder) {
    return {fileIfThere(folder, "quzo.ini"), fileIfThere(folder, "policy.toml")};
}

} // namespace quzo::host
