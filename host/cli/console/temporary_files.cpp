// Files are created and removed under one lock, so that removing all of them for good needs no more than that
// lock: none can appear behind its back.
#include "host/cli/console/temporary_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <set>

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

FileDescriptor createTemporary(const std::string& path, mode_t mode) {
    Registry& files = registry();
    const std::scoped_lock lock(files.mutex);
    const auto entry = files.paths.insert(path).first;
    FileDescriptor descriptor(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
    if (!descriptor) {
        const int error = errno;
        files.paths.erase(entry);
        errno = error;
    }
    return descriptor;
}

int publishTemporary(const std::string& path, const std::string& finalPath) {
    if (std::rename(path.c_str(), finalPath.c_str()) != 0) {
        return errno;
    }
    Registry& files = registry();
    const std::scoped_lock lock(files.mutex);
    files.paths.erase(path);
    return 0;
}

void removeTemporary(const std::string& path) {
    Registry& files = registry();
    const std::scoped_lock lock(files.mutex);
    ::unlink(path.c_str());
    files.paths.erase(path);
}

void removeTemporariesForGood() {
    Registry& files = registry();
    files.mutex.lock(); // and never unlocked
    for (const std::string& path : files.paths) {
        ::unlink(path.c_str());
    }
}

} // namespace quzo::host
