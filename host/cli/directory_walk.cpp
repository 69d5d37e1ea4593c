// An explicit stack instead of recursion: the depth of a tree is not ours to choose.
#include "host/cli/directory_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "host/cli/exit_code.h"
#include "host/cli/file_io.h"

namespace quzo::host {
namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory openDirectory(const std::string& path, bool followLink) {
    const int link = followLink ? 0 : O_NOFOLLOW;
    FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | link));
    if (!descriptor) {
        return nullptr;
    }
    Directory directory(fdopendir(descriptor.get()));
    if (directory != nullptr) {
        descriptor.release(); // the stream's now
    }
    return directory;
}

// Whether it is a directory; nothing for what is neither a directory nor a regular file.
std::optional<bool> isDirectory(int parent, const dirent& entry) {
    if (entry.d_type == DT_DIR || entry.d_type == DT_REG) {
        return entry.d_type == DT_DIR;
    }
    struct stat status {};
    if (entry.d_type != DT_UNKNOWN || fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !(S_ISDIR(status.st_mode) || S_ISREG(status.st_mode))) {
        return std::nullopt;
    }
    return S_ISDIR(status.st_mode);
}

} // namespace

void DirectoryWalk::enter(std::string path, std::string relative) {
    const Directory directory = openDirectory(path, relative.empty()); // the root may be a link
    if (directory == nullptr) {
        fault_ = systemFault(kExitNoInput, std::move(path), "cannot be opened", errno);
        return;
    }
    Level level{std::move(path), std::move(relative), {}, 0};
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) { // NOLINT(concurrency-mt-unsafe): own stream
        const std::string_view name = entry->d_name;
        if (const auto isFolder = isDirectory(dirfd(directory.get()), *entry);
            isFolder && name != "." && name != "..") {
            level.entries.push_back({std::string(name), *isFolder});
        }
        errno = 0;
    }
    if (errno != 0) {
        fault_ = systemFault(kExitInputOutput, level.path, "cannot be read to its end", errno);
    }
    std::sort(level.entries.begin(), level.entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    const auto has = [&](std::string_view name) {
        return std::any_of(level.entries.begin(), level.entries.end(),
                           [&](const Entry& entry) { return entry.directory && entry.name == name; });
    };
    if (has("cur") && has("new")) {
        std::erase_if(level.entries,
                      [](const Entry& entry) { return entry.directory && entry.name == "tmp"; });
    }
    levels_.push_back(std::move(level));
}

bool DirectoryWalk::next(File& file) {
    while (!fault_ && !levels_.empty()) {
        Level& level = levels_.back();
        if (level.at == level.entries.size()) {
            levels_.pop_back();
            continue;
        }
        const Entry& entry = level.entries[level.at++];
        std::string path = level.path + (level.path.ends_with('/') ? "" : "/") + entry.name;
        if (!entry.directory) {
            file = {std::move(path), level.relative + entry.name, std::nullopt};
            return true;
        }
        enter(std::move(path), level.relative + entry.name + "/");
    }
    if (fault_) {
        file = {{}, {}, std::exchange(fault_, std::nullopt)};
        return true;
    }
    return false;
}

} // namespace quzo::host
