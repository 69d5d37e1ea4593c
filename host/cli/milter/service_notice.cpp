// See service_notice.h. One datagram is all there is to it, which is less than the library that would send it
// brings along at each start of the program.
#include "host/cli/milter/service_notice.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/cli/console/file_io.h"

namespace quzo::host {

void tellServiceManager(std::string_view state) {
    const char* const named = std::getenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    const std::string_view place = named != nullptr ? named : "";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (place.size() < 2 || place.size() >= sizeof address.sun_path || (place[0] != '/' && place[0] != '@')) {
        return;
    }
    std::memcpy(address.sun_path, place.data(), place.size());
    address.sun_path[0] = place[0] == '@' ? '\0' : '/'; // a name without a file begins with a NUL
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + place.size());
    static_cast<void>(::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL,
                               reinterpret_cast<const sockaddr*>(&address), length));
}

} // namespace quzo::host
