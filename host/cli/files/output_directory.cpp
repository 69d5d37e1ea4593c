// Names come from the inputs, and the folder may be full, read-only or somebody else's: each message is
// prepared under a temporary name, so that a fault at any point leaves what was there before.
#include "host/cli/files/output_directory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "host/base/exit_code.h"
#include "host/cli/console/temporary_files.h"

namespace quzo::host {
namespace {

constexpr std::size_t kSyncedOneByOne = 64; // messages
constexpr std::size_t kBuffer = std::size_t{256} << 10U;

Fault cannotCreate(const std::string& target, int errnoValue) {
    Fault fault = systemFault(kExitCannotCreate, target, "cannot be created", errnoValue);
    fault.forAll = errnoValue == ENOSPC || errnoValue == EDQUOT || errnoValue == EROFS;
    return fault;
}

Fault cannotWrite(const std::string& target, int errnoValue) {
    Fault fault = systemFault(kExitInputOutput, target, "cannot be written", errnoValue);
    fault.forAll = errnoValue == ENOSPC || errnoValue == EDQUOT || errnoValue == EROFS || errnoValue == EIO;
    return fault;
}

bool isSafeName(std::string_view name) {
    while (true) {
        const std::size_t slash = name.find('/');
        const std::string_view part = name.substr(0, slash);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        if (slash == std::string_view::npos) {
            return true;
        }
        name.remove_prefix(slash + 1);
    }
}

// Collects small pieces; large ones go straight through.
class PieceWriter {
public:
    PieceWriter(int descriptor, std::size_t size) : descriptor_(descriptor) {
        buffer_.reserve(std::min(size, kBuffer));
    }

    bool add(std::string_view piece) {
        if (buffer_.size() + piece.size() > kBuffer) {
            flush();
        }
        if (piece.size() > kBuffer) {
            error_ = error_ != 0 ? error_ : writeAll(descriptor_, piece);
        } else {
            buffer_ += piece;
        }
        return error_ == 0;
    }

    int flush() {
        error_ = error_ != 0 ? error_ : writeAll(descriptor_, buffer_);
        buffer_.clear();
        return error_;
    }

private:
    int descriptor_;
    int error_ = 0;
    std::string buffer_;
};

int syncPath(const std::string& path) {
    const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return descriptor && ::fsync(descriptor.get()) == 0 ? 0 : errno;
}

} // namespace

MaybeFault OutputDirectory::open(const std::string& path, const std::vector<std::string>& inputPaths,
                                 bool syncEach) {
    syncEach_ = syncEach;
    path_ = path;
    while (path_.size() > 1 && path_.ends_with('/')) {
        path_.pop_back();
    }
    if (MaybeFault fault = inputs_.check(path_, inputPaths)) {
        return fault;
    }
    if (MaybeFault fault = makeFolders()) {
        return fault;
    }
    directory_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory_) {
        return cannotCreate(path_, errno);
    }
    if (::access(path_.c_str(), W_OK | X_OK) != 0) {
        return cannotCreate(path_, errno);
    }
    return std::nullopt;
}

// Makes the directory and those above it.
MaybeFault OutputDirectory::makeFolders() {
    for (std::size_t slash = path_.find('/', 1);; slash = path_.find('/', slash + 1)) {
        const std::string folder = path_.substr(0, slash);
        const bool made = ::mkdir(folder.c_str(), 0777) == 0;
        const int error = errno;
        struct stat status {};
        if (!made && ::stat(folder.c_str(), &status) != 0) {
            return cannotCreate(path_, error);
        }
        firstMade_ = made && firstMade_.empty() ? folder : firstMade_;
        if (slash == std::string::npos) {
            return syncEach_ ? syncAncestors() : std::nullopt;
        }
    }
}

// Makes the directories above durable, so that the path to what is stored stays. Those that were there may
// have been made by a run that was killed, so all are synced; one that this user may not open was made by
// others.
MaybeFault OutputDirectory::syncAncestors() const {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::canonical(path_, error);
    const std::filesystem::path made =
        firstMade_.empty() ? whole : std::filesystem::canonical(firstMade_, error);
    bool ours = !firstMade_.empty(); // what this run made lies in it
    for (std::filesystem::path at = whole; !error && at.has_relative_path(); at = at.parent_path()) {
        const std::string holder = at.parent_path();
        const int failed = syncPath(holder);
        if (failed != 0 && ours) {
            return cannotWrite(holder, failed);
        }
        ours = ours && at != made;
    }
    return error ? MaybeFault(cannotWrite(path_, error.value())) : std::nullopt;
}

MaybeFault OutputDirectory::checkFolder(const std::string& folder) const {
    if (::mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        return cannotCreate(folder, errno);
    }
    // Also when it was there: a run that was killed may have made it.
    if (const int error = syncEach_ ? syncPath(folder.substr(0, folder.rfind('/'))) : 0) {
        return cannotWrite(folder, error);
    }
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) {
        return cannotCreate(folder, errno);
    }
    if (!S_ISDIR(status.st_mode)) {
        return Fault{kExitCannotCreate, folder, "is in the way: a folder is needed there",
                     "move it away or choose another output folder"};
    }
    if (inputs_.contains(status)) {
        return Fault{kExitCannotCreate, folder, "is an input folder and cannot take output",
                     "choose another output folder"};
    }
    return std::nullopt;
}

MaybeFault OutputDirectory::prepareFolder(const std::string& name) {
    const std::scoped_lock lock(mutex_);
    if (folders_.contains(name)) {
        return std::nullopt;
    }
    for (std::size_t slash = name.find('/');; slash = name.find('/', slash + 1)) {
        std::string part = name.substr(0, slash);
        if (!folders_.contains(part)) {
            if (MaybeFault fault = checkFolder(pathOf(part))) {
                return fault;
            }
            folders_.insert(std::move(part));
        }
        if (slash == std::string::npos) {
            return std::nullopt;
        }
    }
}

MaybeFault OutputDirectory::checkPlace(const std::string& target) const {
    struct stat status {};
    if (::lstat(target.c_str(), &status) != 0) {
        return errno == ENOENT ? std::nullopt : MaybeFault(cannotCreate(target, errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return Fault{kExitCannotCreate, target, "is in the way and is no regular file",
                     "move it away or choose another output folder"};
    }
    if (inputs_.contains(status)) {
        return Fault{kExitCannotCreate, target, "is an input and is not replaced",
                     "choose another output folder"};
    }
    return std::nullopt;
}

MaybeFault OutputDirectory::writeTemporary(const std::string& temporary, const Target& target,
                                           const Writer& write) const {
    const std::string finalPath = pathOf(target.name);
    TemporaryFile file(temporary, target.mode.has_value() ? 0600 : 0666);
    if (file.error() != 0) {
        return cannotCreate(finalPath, file.error());
    }
    PieceWriter pieces(file.descriptor(), target.size);
    write([&](std::string_view piece) { return pieces.add(piece); });
    int error = pieces.flush();
    if (error == 0 && target.mode && ::fchmod(file.descriptor(), *target.mode) != 0) {
        error = errno;
    }
    error = error != 0 ? error : file.publish(finalPath, syncEach_);
    if (error == 0) {
        return std::nullopt;
    }
    return cannotWrite(finalPath, error);
}

MaybeFault OutputDirectory::store(const Target& target, const Writer& write) {
    const std::string& name = target.name;
    const std::string finalPath = pathOf(name);
    if (!isSafeName(name)) {
        return Fault{kExitCannotCreate, finalPath, "would not stay inside the output folder",
                     "rename the input"};
    }
    const std::size_t slash = name.rfind('/');
    if (slash != std::string::npos) {
        if (MaybeFault fault = prepareFolder(name.substr(0, slash))) {
            return fault;
        }
    }
    if (MaybeFault fault = checkPlace(finalPath)) {
        return fault;
    }
    const std::string folder = slash == std::string::npos ? path_ : pathOf(name.substr(0, slash));
    const std::string temporary = fmt::format("{}/.quzo-{}-{}.tmp", folder, ::getpid(), counter_++);
    if (MaybeFault fault = writeTemporary(temporary, target, write)) {
        return fault;
    }
    if (!syncEach_) {
        remember(finalPath);
        return std::nullopt;
    }
    const int error = syncPath(folder);
    return error == 0 ? std::nullopt : MaybeFault(cannotWrite(folder, error));
}

void OutputDirectory::remember(const std::string& target) {
    const std::scoped_lock lock(mutex_);
    if (++stored_ <= kSyncedOneByOne) {
        unsynced_.push_back(target);
    }
}

MaybeFault OutputDirectory::sync() const {
    if (stored_ > kSyncedOneByOne) {
        return ::syncfs(directory_.get()) == 0 ? std::nullopt : MaybeFault(cannotWrite(path_, errno));
    }
    std::vector<std::string> paths = unsynced_;
    for (const std::string& folder : folders_) {
        paths.push_back(pathOf(folder));
    }
    paths.push_back(path_);
    for (const std::string& path : paths) {
        if (const int error = stored_ != 0 ? syncPath(path) : 0) {
            return cannotWrite(path, error);
        }
    }
    return stored_ != 0 ? syncAncestors() : std::nullopt;
}

} // namespace quzo::host
