// See object_session.h.
#include "host/cli/object/object_session.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/base/exit_code.h"
#include "host/cli/console/file_io.h"
#include "platform/base/nearest.h"

namespace quzo::host {
namespace {

constexpr std::string_view kKindNames[] = {"notify", "stamp", "quarantine", "archive"};

} // namespace

MaybeFault readKind(const std::string& name, platform::ObjectKind& kind) {
    if (const auto found = platform::objectKindNamed(name)) {
        kind = *found;
        return std::nullopt;
    }
    return Fault{kExitUsage, name, "there is no such kind of object", platform::suggestion(name, kKindNames)};
}

MaybeFault readWhole(const std::string& path, std::size_t maxBytes, std::string& bytes) {
    FileDescriptor file;
    if (path != "-") {
        file = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
        if (!file) {
            return systemFault(kExitNoInput, path, "cannot be opened", errno);
        }
    }
    const int descriptor = path == "-" ? STDIN_FILENO : file.get();
    constexpr std::size_t kPiece = std::size_t{64} << 10U;
    bytes.clear();
    for (ssize_t got = 1; got > 0 && bytes.size() <= maxBytes;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + kPiece);
        got = readSome(descriptor, bytes.data() + size, kPiece);
        if (got < 0) {
            return systemFault(errno == EISDIR ? kExitNoInput : kExitInputOutput, path, "cannot be read",
                               errno);
        }
        bytes.resize(size + static_cast<std::size_t>(got));
    }
    if (bytes.size() > maxBytes) {
        return Fault{kExitData, path, "it has more than " + std::to_string(maxBytes) + " bytes",
                     "give a shorter one"};
    }
    return std::nullopt;
}

int ObjectSession::say(const Fault& fault) { return exitCode_ = console_.err.say(fault); }

bool ObjectSession::open(Purpose purpose) {
    if (!options_.kind.empty()) {
        platform::ObjectKind kind{};
        if (const MaybeFault fault = readKind(options_.kind, kind)) {
            say(*fault);
            return false;
        }
        kind_ = kind;
    }
    if (options_.iniFile.empty()) {
        say(Fault{kExitUsage, "object", "there are no settings", "name them with -c FILE"});
        return false;
    }
    const bool usable = installation_.open({.iniFile = options_.iniFile,
                                            .policyFile = options_.policyFile,
                                            .tenant = options_.tenant,
                                            .store = Needs::Store::Open,
                                            .library = purpose != Purpose::Store,
                                            .run = purpose == Purpose::Preview,
                                            .make = purpose != Purpose::Preview});
    exitCode_ = console_.err.say(installation_.findings());
    if (usable) {
        admin_.emplace(installation_.store(), installation_.tenant(), options_.iniFile);
    }
    return usable;
}

} // namespace quzo::host
