// Files are created and removed under one lock, so that removing all of them for good needs no more than that
// lock: none can appear behind its back.
#include "host/cli/console/temporary_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <set>
#include <utility>

namespace quzo::host {
namespace {

struct Registry {
    std::mutex mutex;
    std::set<std::string> paths;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

} // namespace

TemporaryFile::TemporaryFile(std::string path, mode_t mode) : path_(std::move(path)) {
    Registry& files = registry();
    const std::scoped_lock lock(files.mutex);
    const auto entry = files.paths.insert(path_).first;
    file_ = FileDescriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
    if (!file_) {
        error_ = errno;
        files.paths.erase(entry);
        path_.clear();
    }
}

TemporaryFile::~TemporaryFile() {
    if (!path_.empty()) {
        Registry& files = registry();
        const std::scoped_lock lock(files.mutex);
        ::unlink(path_.c_str());
        files.paths.erase(path_);
    }
}

int TemporaryFile::publish(const std::string& finalPath, bool sync) {
    int error = sync && ::fsync(file_.get()) != 0 ? errno : 0;
    const int closing = file_.close();
    error = error != 0 ? error : closing;
    if (error == 0 && std::rename(path_.c_str(), finalPath.c_str()) != 0) {
        error = errno;
    }
    if (error == 0) {
        Registry& files = registry();
        const std::scoped_lock lock(files.mutex);
        files.paths.erase(path_);
        path_.clear();
    }
    return error;
}

void removeTemporariesForGood() {
    Registry& files = registry();
    files.mutex.lock(); // and never unlocked
    for (const std::string& path : files.paths) {
        ::unlink(path.c_str());
    }
}

} // namespace quzo::host
