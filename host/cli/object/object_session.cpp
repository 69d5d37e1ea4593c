// See object_session.h.
#include "host/cli/object/object_session.h"

#include <utility>

#include "host/base/exit_code.h"
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
