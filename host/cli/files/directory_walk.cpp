// An explicit stack instead of recursion: the depth of a tree is not ours to choose.
#include "host/cli/files/directory_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"

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

// "a.eml", "A.EML".
bool isMessageName(std::string_view name) {
    constexpr std::string_view kEnding = ".eml";
    return name.size() > kEnding.size() &&
           std::equal(kEnding.rbegin(), kEnding.rend(), name.rbegin(), [](char expected, char letter) {
               return expected == (letter >= 'A' && letter <= 'Z' ? letter + ('a' - 'A') : letter);
           });
}

} // namespace

DirectoryWalk::DirectoryWalk(std::string root, Entered entered) : entered_(std::move(entered)) {
    const Place place = placeOfRoot(root);
    enter(std::move(root), {}, place);
}

// The folder that is named may itself be the cur or new of a Maildir.
DirectoryWalk::Place DirectoryWalk::placeOfRoot(const std::string& root) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::canonical(root, error);
    const std::string name = path.filename();
    const bool part = !error && (name == "cur" || name == "new");
    return part && std::filesystem::is_directory(path.parent_path() / "cur", error) &&
                   std::filesystem::is_directory(path.parent_path() / "new", error)
               ? Place::Delivered
               : Place::Ordinary;
}

DirectoryWalk::Kind DirectoryWalk::kindOf(int parent, const dirent& entry) {
    switch (entry.d_type) {
        case DT_DIR:
            return Kind::Folder;
        case DT_REG:
            return Kind::File;
        case DT_LNK:
            return Kind::Link;
        default:
            break;
    }
    struct stat status {};
    if (entry.d_type != DT_UNKNOWN || fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return Kind::Other;
    }
    return S_ISDIR(status.st_mode)   ? Kind::Folder
           : S_ISREG(status.st_mode) ? Kind::File
           : S_ISLNK(status.st_mode) ? Kind::Link
                                     : Kind::Other;
}

bool DirectoryWalk::Level::hasFolder(std::string_view name) const {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return entry.kind == Kind::Folder && entry.name == name; });
}

DirectoryWalk::Place DirectoryWalk::Level::placeOf(const Entry& folder) const {
    if (place == Place::Undelivered || (maildir && folder.name == "tmp")) {
        return Place::Undelivered;
    }
    return maildir && (folder.name == "cur" || folder.name == "new") ? Place::Delivered : Place::Ordinary;
}

void DirectoryWalk::read(int descriptor, DIR* directory, Level& level) {
    errno = 0;
    while (const dirent* entry = readdir(directory)) { // NOLINT(concurrency-mt-unsafe): own stream
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            level.entries.push_back({std::string(name), kindOf(descriptor, *entry)});
        }
        errno = 0;
    }
    if (errno != 0) {
        fault_ = systemFault(kExitInputOutput, level.path, "cannot be read to its end", errno);
    }
    std::sort(level.entries.begin(), level.entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    level.maildir = level.hasFolder("cur") && level.hasFolder("new");
}

void DirectoryWalk::enter(std::string path, std::string relative, Place place) {
    const Directory directory = openDirectory(path, relative.empty()); // the root may be a link
    if (directory == nullptr) {
        fault_ = systemFault(kExitNoInput, std::move(path), "cannot be opened", errno);
        return;
    }
    const int descriptor = dirfd(directory.get());
    struct stat status {};
    if (entered_ && fstat(descriptor, &status) == 0) {
        entered_(status);
    }
    Level level{std::move(path), std::move(relative), place};
    read(descriptor, directory.get(), level);
    levels_.push_back(std::move(level));
}

DirectoryWalk::File DirectoryWalk::describe(const Level& level, const Entry& entry, std::string path) {
    File file{std::move(path), level.relative + entry.name, std::nullopt};
    // Names that begin with a dot are no messages of a Maildir: programs keep things of their own there.
    file.inMaildir = level.place == Place::Delivered && !entry.name.starts_with('.');
    file.isMessage = file.inMaildir || isMessageName(entry.name);
    if (entry.kind == Kind::Link) {
        file.passedOver = "is a link";
    } else if (entry.kind != Kind::File) {
        file.passedOver = "is no regular file";
    } else if (level.place == Place::Undelivered) {
        file.passedOver = "is still being delivered";
    }
    return file;
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
        if (entry.kind != Kind::Folder) {
            file = describe(level, entry, std::move(path));
            return true;
        }
        enter(std::move(path), level.relative + entry.name + "/", level.placeOf(entry));
    }
    if (fault_) {
        file = {{}, {}, std::exchange(fault_, std::nullopt)};
        return true;
    }
    return false;
}

} // namespace quzo::host
