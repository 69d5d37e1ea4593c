// quzo object show: one object, as it is or as it was.
#include <algorithm>
#include <string>
#include <vector>

#include "host/admin/object_file.h"
#include "host/admin/object_form.h"
#include "host/admin/object_json.h"
#include "host/base/exit_code.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_report.h"
#include "host/cli/object/object_session.h"
#include "host/cli/object/object_table.h"

namespace quzo::host {
namespace {

using platform::ObjectVersion;

int checkReadable(ObjectSession& session, const std::string& name, const std::string& content) {
    if (ObjectForm::read(*session.kind(), content)) {
        return kExitOk;
    }
    return session.say(Fault{kExitData, shownObject(*session.kind(), name), "its stored text cannot be read",
                             "see it with --raw; restore a former revision, or remove it"});
}

int showNow(const ObjectOptions& options, ObjectSession& session, Console& console) {
    const Result<ObjectView> view = session.admin().show(*session.kind(), options.name);
    if (!view) {
        return session.say(view.fault());
    }
    const platform::StoredObject& object = view->object;
    if (options.raw) {
        console.out.write(object.content + "\n");
        return kExitOk;
    }
    console.out.write(options.json ? objectJson(object, view->references)
                                   : objectText(object, view->references));
    return checkReadable(session, object.name, object.content);
}

std::string versionText(const ObjectOptions& options, unsigned id, const ObjectVersion& version) {
    TextTable table({"REVISION", "CHANGED", "AUTHOR", "CHANGE", "NAME"});
    table.add({std::to_string(version.revision), platform::objectTime(version.changed), version.author,
               version.change, version.name});
    const platform::ObjectKind kind = *platform::objectKindNamed(options.kind);
    return options.json  ? versionJson(kind, id, version)
           : options.raw ? version.content + "\n"
                         : table.text() + "\n" + fieldsText(kind, version.content);
}

std::string historyText(const std::vector<ObjectVersion>& versions) {
    TextTable table({"REVISION", "CHANGED", "AUTHOR", "CHANGE", "NAME"});
    for (const ObjectVersion& version : versions) {
        table.add({std::to_string(version.revision), platform::objectTime(version.changed), version.author,
                   version.change, version.name});
    }
    return table.text();
}

int showHistory(const ObjectOptions& options, ObjectSession& session, Console& console) {
    const Result<ObjectHistory> history = session.admin().history(*session.kind(), options.name);
    if (!history) {
        return session.say(history.fault());
    }
    const std::vector<ObjectVersion>& versions = history->versions;
    if (options.revision) {
        const auto found = std::find_if(versions.begin(), versions.end(), [&](const ObjectVersion& version) {
            return version.revision == *options.revision;
        });
        if (found == versions.end()) {
            return session.say(Fault{kExitNoInput, shownObject(*session.kind(), options.name),
                                     "it has no revision " + std::to_string(*options.revision),
                                     "see them with --history"});
        }
        console.out.write(versionText(options, history->id, *found));
        return options.raw ? kExitOk : checkReadable(session, found->name, found->content);
    }
    if (options.json) {
        for (const ObjectVersion& version : versions) {
            console.out.write(versionJson(*session.kind(), history->id, version));
        }
        return kExitOk;
    }
    console.out.write(historyText(versions));
    return kExitOk;
}

} // namespace

int runObjectShow(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    return options.history || options.revision ? showHistory(options, session, console)
                                               : showNow(options, session, console);
}

} // namespace quzo::host
