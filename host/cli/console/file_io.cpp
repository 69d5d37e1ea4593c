// Short writes and interrupted calls are ordinary on pipes and full disks; nobody else has to think of
// them.
#include "host/cli/console/file_io.h"

#include <poll.h>

#include <cerrno>

namespace quzo::host {
namespace {

// Waits for either; whether it was `wakeUp`.
bool wokenBefore(int descriptor, int wakeUp) {
    pollfd waiting[] = {{wakeUp, POLLIN, 0}, {descriptor, POLLIN, 0}};
    while (::poll(waiting, 2, -1) < 0 && errno == EINTR) {
    }
    return waiting[0].revents != 0;
}

} // namespace

int FileDescriptor::close() {
    const int number = std::exchange(number_, -1);
    // After EINTR Linux has closed the descriptor all the same: never try again.
    return number >= 0 && ::close(number) != 0 && errno != EINTR ? errno : 0;
}

ssize_t readSome(int descriptor, char* target, std::size_t room, int wakeUp) {
    for (;;) {
        if (wakeUp >= 0 && wokenBefore(descriptor, wakeUp)) {
            errno = ECANCELED;
            return -1;
        }
        const ssize_t count = ::read(descriptor, target, room);
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return 0;
}

} // namespace quzo::host
