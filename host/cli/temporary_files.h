// Files that must not be left behind by a run that is interrupted.
#pragma once

#include <csignal>
#include <thread>

#include <atomic>
#include <string>

#include "host/cli/file_io.h"

namespace quzo::host {

// Creates `path` for writing, which must not exist, and remembers it until it is renamed or removed.
// Returns the descriptor; none with errno set. Any thread.
FileDescriptor createTemporary(const std::string& path);

// Gives a temporary file its final name, replacing what bears it. Returns 0 or an errno value, and then
// the temporary file is still there. Any thread.
int publishTemporary(const std::string& path, const std::string& finalPath);

// Removes a temporary file. Any thread.
void removeTemporary(const std::string& path);

// While one lives, SIGINT, SIGTERM and SIGHUP (where they are not ignored) first remove every temporary
// file and then end the process as they would have. Make one in main(), before other threads start.
class InterruptWatch {
public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

private:
    void watch();

    sigset_t signals_{};
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

} // namespace quzo::host
