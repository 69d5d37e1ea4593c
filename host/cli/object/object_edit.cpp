// quzo object add, update, remove and restore. Arguments are read before anything is opened.
#include <fmt/format.h>

#include <string>
#include <utility>

#include "host/admin/object_admin.h"
#include "host/base/exit_code.h"
#include "host/cli/files/whole_file.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_session.h"
#include "platform/store/store_text.h"

namespace quzo::host {
namespace {

// The values of the fields on the command line, those in files read.
Result<FieldTexts> fieldTexts(const ObjectOptions& options) {
    FieldTexts fields;
    for (const FieldArgument& argument : options.fields) {
        std::string text = argument.value;
        if (argument.isFile) {
            if (MaybeFault fault = readWhole(argument.value, platform::kMaxObjectContent, text)) {
                return *std::move(fault);
            }
        }
        fields.emplace_back(argument.field, std::move(text));
    }
    return fields;
}

Result<std::string> newText(const ObjectOptions& options, platform::ObjectKind& kind) {
    if (const MaybeFault fault = readKind(options.kind, kind)) {
        return *fault;
    }
    const Result<FieldTexts> fields = fieldTexts(options);
    return fields ? newObjectText(kind, options.name, *fields) : fields.fault();
}

// Says what became of a change.
int finish(ObjectSession& session, Console& console, const Result<ObjectChanged>& changed) {
    if (!changed) {
        return session.say(changed.fault());
    }
    console.err.say(changed->warnings);
    console.out.write(fmt::format("{} {}: id {}, revision {}\n", changed->what,
                                  shownObject(changed->kind, changed->name), changed->id, changed->revision));
    return kExitOk;
}

} // namespace

int runObjectAdd(const ObjectOptions& options, Console& console) {
    platform::ObjectKind kind{};
    const Result<std::string> content = newText(options, kind);
    if (!content) {
        return console.err.say(content.fault());
    }
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    return finish(session, console, session.admin().add(kind, options.name, *content));
}

int runObjectUpdate(const ObjectOptions& options, Console& console) {
    if (options.fields.empty()) {
        return console.err.say({kExitUsage, "update", "there is nothing to change",
                                "give a field, such as "
                                "--description TEXT"});
    }
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    const Result<FieldTexts> fields = fieldTexts(options);
    if (!fields) {
        return session.say(fields.fault());
    }
    return finish(session, console,
                  session.admin().update(*session.kind(), options.name, *fields, options.revision));
}

int runObjectRemove(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    const bool hasPolicy = !options.policyFile.empty();
    if (!session.open(hasPolicy ? ObjectSession::Purpose::Policy : ObjectSession::Purpose::Store)) {
        return session.exitCode();
    }
    const std::shared_ptr<const Snapshot> snapshot = session.installation().snapshot();
    return finish(session, console,
                  session.admin().remove(*session.kind(), options.name, options.revision,
                                         hasPolicy ? &snapshot->policy() : nullptr, options.policyFile));
}

int runObjectRestore(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    return finish(session, console, session.admin().restore(*session.kind(), options.name, options.revision));
}

} // namespace quzo::host
