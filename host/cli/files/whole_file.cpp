// See whole_file.h.
#include "host/cli/files/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"

namespace quzo::host {
namespace {

constexpr std::size_t kLeastGrowth = std::size_t{64} << 10U; // bytes

} // namespace

int readUpTo(int descriptor, std::size_t size, std::string& bytes, int wakeUp) {
    std::size_t have = bytes.size();
    bytes.resize(std::max(size, have));
    ssize_t count = 1;
    while (have < bytes.size() && count > 0) {
        count = readSome(descriptor, bytes.data() + have, bytes.size() - have, wakeUp);
        have += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    const int error = count < 0 ? errno : 0;
    bytes.resize(have);
    return error;
}

int readRest(int descriptor, std::size_t sizeHint, std::size_t maxBytes, std::string& bytes, int wakeUp) {
    std::size_t target = std::max(sizeHint, bytes.size()) + 1;
    for (;;) {
        target = maxBytes != 0 ? std::min(target, maxBytes + 1) : target;
        const int error = readUpTo(descriptor, target, bytes, wakeUp);
        if (error != 0 || bytes.size() < target || (maxBytes != 0 && bytes.size() > maxBytes)) {
            return error;
        }
        target += std::max(target, kLeastGrowth);
    }
}

MaybeFault readWhole(const std::string& path, std::size_t maxBytes, std::string& bytes) {
    FileDescriptor file;
    if (path != "-") {
        file = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
        if (!file) {
            return systemFault(kExitNoInput, path, "cannot be opened", errno);
        }
    }
    bytes.clear();
    const int error = readRest(path == "-" ? STDIN_FILENO : file.get(), 0, maxBytes, bytes, -1);
    if (error != 0) {
        return systemFault(error == EISDIR ? kExitNoInput : kExitInputOutput, path, "cannot be read", error);
    }
    if (bytes.size() > maxBytes) {
        return Fault{kExitData, path, "it has more than " + std::to_string(maxBytes) + " bytes",
                     "give a shorter one"};
    }
    return std::nullopt;
}

} // namespace quzo::host
