// quzo object upgrade: brings the store to the format of this program, for those who install a new one. Where
// there is nothing to be done all is well.
#include <fmt/format.h>

#include "host/base/exit_code.h"
#include "host/cli/object/object_commands.h"
#include "host/gateway/finding_faults.h"
#include "host/gateway/installation.h"
#include "platform/store/object_store.h"

namespace quzo::host {
namespace {

using platform::ObjectStore;
using platform::StoreFormat;
using platform::StoreTrouble;

std::string reportText(const StoreFormat& format) {
    if (!format.upgraded()) {
        return fmt::format("the store has format {}: nothing is to be done\n", format.now);
    }
    return fmt::format("the store had format {} and has format {} now\n", format.found, format.now) +
           (format.copy.empty() ? std::string("no copy was made: that is the work of pg_dump\n")
                                : "copy of it as it was: " + format.copy + "\n");
}

} // namespace

int runObjectUpgrade(const ObjectOptions& options, Console& console) {
    Installation installation;
    const bool usable = installation.open(
        {.iniFile = options.iniFile, .policyFile = {}, .library = false, .run = false, .make = false});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    const std::string connection = installation.settings().platform().store;
    if (connection.empty()) {
        console.out.write("the settings name no store: nothing is to be done\n");
        return kExitOk;
    }
    // What is not there is not made here.
    auto store = ObjectStore::open({.connection = connection, .author = {}, .make = false});
    if (store) {
        store = ObjectStore::open({.connection = connection, .author = {}, .make = true});
    }
    if (store) {
        console.out.write(reportText(store->format()));
        return kExitOk;
    }
    if (store.fault().trouble == StoreTrouble::Absent) {
        console.out.write("there is no store yet: nothing is to be done\n");
        return kExitOk;
    }
    return console.err.say(faultOf(store.fault(), options.iniFile));
}

} // namespace quzo::host
