// quzo object show: one object, as it is or as it was.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "host/admin/object_file.h"
#include "host/admin/object_form.h"
#include "host/base/exit_code.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_report.h"
#include "host/cli/object/object_session.h"
#include "host/cli/object/object_table.h"

namespace quzo::host {
namespace {

using platform::ObjectVersion;
using platform::StoredObject;

int checkReadable(ObjectSession& session, const std::string& name, const std::string& content) {
    if (ObjectForm::read(*session.kind(), content)) {
        return kExitOk;
    }
    return session.say(Fault{kExitData, shownObject(*session.kind(), name), "its stored text cannot be read",
                             "see it with --raw; restore a former revision, or remove it"});
}

int showNow(const ObjectOptions& options, ObjectSession& session, Console& console) {
    const std::optional<StoredObject> object = session.find();
    if (!object) {
        return session.exitCode();
    }
    if (options.raw) {
        console.out.write(object->content + "\n");
        return kExitOk;
    }
    const auto references = session.store().references(session.tenant(), object->id);
    if (!references) {
        return session.say(references.fault());
    }
    console.out.write(options.json ? objectJson(*object, *references) : objectText(*object, *references));
    return checkReadable(session, object->name, object->content);
}

// Of an object that is there, or else of the one that was removed last under the name.
std::optional<std::vector<ObjectVersion>> readHistory(const ObjectOptions& options, ObjectSession& session,
                                                      unsigned& id) {
    const auto present = session.store().find(session.tenant(), *session.kind(), options.name);
    if (present) {
        id = present->id;
    } else {
        const auto removed = session.store().findRemoved(session.tenant(), *session.kind(), options.name);
        if (!removed) {
            session.say(present.fault());
            return std::nullopt;
        }
        id = *removed;
    }
    auto versions = session.store().history(session.tenant(), id);
    if (!versions) {
        session.say(versions.fault());
        return std::nullopt;
    }
    return std::move(*versions);
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
    unsigned id = 0;
    const auto versions = readHistory(options, session, id);
    if (!versions) {
        return session.exitCode();
    }
    if (options.revision) {
        const auto found =
            std::find_if(versions->begin(), versions->end(),
                         [&](const ObjectVersion& version) { return version.revision == *options.revision; });
        if (found == versions->end()) {
            return session.say(Fault{kExitNoInput, shownObject(*session.kind(), options.name),
                                     "it has no revision " + std::to_string(*options.revision),
                                     "see them with --history"});
        }
        console.out.write(versionText(options, id, *found));
        return options.raw ? kExitOk : checkReadable(session, found->name, found->content);
    }
    if (options.json) {
        for (const ObjectVersion& version : *versions) {
            console.out.write(versionJson(*session.kind(), id, version));
        }
        return kExitOk;
    }
    console.out.write(historyText(*versions));
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
