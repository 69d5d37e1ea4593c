// quzo object list: one line an object.
#include "host/admin/object_json.h"
#include "host/base/exit_code.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_session.h"
#include "host/cli/object/object_table.h"

namespace quzo::host {

int runObjectList(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    const auto objects = session.admin().list(session.kind());
    if (!objects) {
        return session.say(objects.fault());
    }
    if (options.json) {
        for (const platform::ObjectSummary& object : *objects) {
            console.out.write(summaryJson(object));
        }
        return kExitOk;
    }
    TextTable table({"ID", "KIND", "NAME", "REVISION", "CHANGED", "AUTHOR", "IN USE", "READ-ONLY"});
    for (const platform::ObjectSummary& object : *objects) {
        table.add({std::to_string(object.id), platform::objectKindName(object.kind), object.name,
                   std::to_string(object.revision), platform::objectTime(object.changed), object.author,
                   object.inUse ? "yes" : "no", object.readOnly ? "yes" : "no"});
    }
    if (!objects->empty()) {
        console.out.write(table.text());
    }
    return kExitOk;
}

} // namespace quzo::host
