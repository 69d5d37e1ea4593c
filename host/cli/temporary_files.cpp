// The signals are blocked in every thread and taken by one that waits for them, so cleaning up needs no
// async-signal-safe tricks: it holds the lock under which files are created and removed, so none can
// appear behind its back, and then lets the signal do what it does by default.
#include "host/cli/temporary_files.h"

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

FileDescriptor createTemporary(const std::string& path) {
    Registry& files = registry();
    const std::scoped_lock lock(files.mutex);
    const auto entry = files.paths.insert(path).first;
    FileDescriptor descriptor(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
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

InterruptWatch::InterruptWatch() {
    registry(); // made before, and so destroyed after, whatever uses it
    sigemptyset(&signals_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        if (sigaction(number, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
            sigaddset(&signals_, number);
        }
    }
    sigaddset(&signals_, SIGUSR2); // wakes the thread up
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this] { watch(); });
}

InterruptWatch::~InterruptWatch() {
    over_ = true;
    pthread_kill(thread_.native_handle(), SIGUSR2);
    thread_.join();
}

void InterruptWatch::watch() {
    int number = SIGUSR2;
    while (number == SIGUSR2) {
        if (over_ || sigwait(&signals_, &number) != 0) {
            return;
        }
    }
    Registry& files = registry();
    files.mutex.lock(); // and never unlocked: from here on no file is created
    for (const std::string& path : files.paths) {
        ::unlink(path.c_str());
    }
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::raise(number); // the default action: the disposition was never changed
    ::_exit(128 + number);
}

} // namespace quzo::host
