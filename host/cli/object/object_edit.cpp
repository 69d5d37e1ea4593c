// quzo object add, update, remove and restore: each change is made by one operation of the store, under the
// revision that was looked at, so that of two administrators the second one is told.
#include <fmt/format.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/admin/object_file.h"
#include "host/admin/object_form.h"
#include "host/base/exit_code.h"
#include "host/cli/object/object_commands.h"
#include "host/cli/object/object_session.h"
#include "host/policy/policy_objects.h"
#include "platform/base/visible_text.h"
#include "platform/store/store_text.h"

namespace quzo::host {
namespace {

using platform::ObjectKind;
using platform::ObjectOutcome;
using platform::StoredObject;

Fault refused(ObjectKind kind, const std::string& name, const FieldFault& fault) {
    return {kExitData, shownObject(kind, name) + ": --" + fault.key, fault.problem, fault.remedy};
}

// The values of the fields on the command line.
MaybeFault readFields(const ObjectOptions& options, ObjectKind kind, ObjectValues& values) {
    for (const FieldArgument& argument : options.fields) {
        const ObjectField* field = findObjectField(kind, argument.field);
        if (field == nullptr) {
            return Fault{kExitUsage, "--" + argument.field,
                         std::string("a ") + platform::objectKindName(kind) + " object has no such field",
                         "leave it out"};
        }
        std::string text = argument.value;
        if (argument.isFile) {
            if (MaybeFault fault = readWhole(argument.value, platform::kMaxObjectContent, text)) {
                return fault;
            }
        }
        FieldFault fault;
        std::optional<ObjectValue> value = parseObjectValue(*field, text, fault);
        if (!value) {
            return refused(kind, options.name, fault);
        }
        values.emplace_back(argument.field, *std::move(value));
    }
    return std::nullopt;
}

// Puts the fields of the command line into the form and gives the text to store.
MaybeFault fillIn(const ObjectOptions& options, ObjectForm& form, std::string& content) {
    ObjectValues values;
    if (MaybeFault fault = readFields(options, form.kind(), values)) {
        return fault;
    }
    std::optional<FieldFault> fault = form.set(values);
    if (!fault) {
        fault = form.write(content);
    }
    return fault ? MaybeFault(refused(form.kind(), options.name, *fault)) : std::nullopt;
}

MaybeFault newObject(const ObjectOptions& options, ObjectKind& kind, std::string& content) {
    if (MaybeFault fault = readKind(options.kind, kind)) {
        return fault;
    }
    bool hasText = kind != ObjectKind::StampArea;
    for (const FieldArgument& argument : options.fields) {
        hasText = hasText || argument.field == "text";
    }
    if (!hasText) {
        return Fault{kExitUsage, shownObject(kind, options.name), "it has no text",
                     "give --text or --text-file"};
    }
    ObjectForm form(kind);
    return fillIn(options, form, content);
}

std::string outcomeLine(const char* what, ObjectKind kind, const std::string& name, unsigned id,
                        unsigned revision) {
    return fmt::format("{} {}: id {}, revision {}\n", what, shownObject(kind, name), id, revision);
}

// Says what the store made of a change.
int finish(ObjectSession& session, Console& console, const char* what, const std::string& name,
           const platform::StoreResult<ObjectOutcome>& outcome) {
    if (!outcome) {
        return session.say(outcome.fault());
    }
    console.out.write(outcomeLine(what, *session.kind(), name, outcome->id, outcome->revision));
    return kExitOk;
}

// Whether the policy of -p does without the object; otherwise what refers to it has been said.
bool unusedByPolicy(const ObjectOptions& options, ObjectSession& session, const StoredObject& object) {
    if (options.policyFile.empty()) {
        return true; // the store knows what was recorded
    }
    std::string rules;
    for (const platform::ObjectReference& reference :
         objectReferences(session.installation().snapshot()->policy())) {
        if (reference.objectId == object.id) {
            rules += fmt::format("{}rule {} {}", rules.empty() ? "" : ", ", reference.ruleId,
                                 platform::quotedText(reference.ruleName));
        }
    }
    if (!rules.empty()) {
        session.say(Fault{kExitData, options.policyFile,
                          shownObject(object.kind, object.name) + " is in use by " + rules,
                          "take it out of the policy first"});
    }
    return rules.empty();
}

} // namespace

int runObjectAdd(const ObjectOptions& options, Console& console) {
    ObjectKind kind{};
    std::string content;
    if (const MaybeFault fault = newObject(options, kind, content)) {
        return console.err.say(*fault);
    }
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    return finish(session, console, "added", options.name,
                  session.store().add(session.tenant(), kind, options.name, content));
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
    const std::optional<StoredObject> object = session.find();
    if (!object) {
        return session.exitCode();
    }
    std::optional<ObjectForm> form = ObjectForm::read(object->kind, object->content);
    if (!form) {
        return session.say(Fault{kExitData, shownObject(object->kind, object->name),
                                 "its stored text cannot be read",
                                 "restore a former revision, or remove it and add it anew"});
    }
    std::string content;
    if (const MaybeFault fault = fillIn(options, *form, content)) {
        return session.say(*fault);
    }
    const unsigned expected = options.revision.value_or(object->revision);
    if (content == object->content && expected == object->revision) {
        console.out.write(outcomeLine("unchanged", object->kind, object->name, object->id, object->revision));
        return kExitOk;
    }
    return finish(
        session, console, "changed", object->name,
        session.store().modify(session.tenant(), object->id, object->kind, object->name, content, expected));
}

int runObjectRemove(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    const bool hasPolicy = !options.policyFile.empty();
    if (!session.open(hasPolicy ? ObjectSession::Purpose::Policy : ObjectSession::Purpose::Store)) {
        return session.exitCode();
    }
    const std::optional<StoredObject> object = session.find();
    if (!object || !unusedByPolicy(options, session, *object)) {
        return session.exitCode();
    }
    return finish(
        session, console, "removed", object->name,
        session.store().remove(session.tenant(), object->id, options.revision.value_or(object->revision)));
}

int runObjectRestore(const ObjectOptions& options, Console& console) {
    ObjectSession session(options, console);
    if (!session.open()) {
        return session.exitCode();
    }
    platform::ObjectStore& store = session.store();
    const auto present = store.find(session.tenant(), *session.kind(), options.name);
    if (present && !options.revision) {
        return session.say(Fault{kExitUsage, shownObject(*session.kind(), options.name),
                                 "it is there, at revision " + std::to_string(present->revision),
                                 "say which one is to come back with --revision; see show --history"});
    }
    const auto removed = present ? platform::StoreResult<unsigned>(present->id)
                                 : store.findRemoved(session.tenant(), *session.kind(), options.name);
    const auto versions = removed
                              ? store.history(session.tenant(), *removed)
                              : platform::StoreResult<std::vector<platform::ObjectVersion>>(removed.fault());
    if (!versions) {
        return session.say(versions.fault());
    }
    const unsigned newest = versions->back().revision;
    return finish(session, console, "restored", options.name,
                  store.restore(session.tenant(), *removed, options.revision.value_or(newest), newest));
}

} // namespace quzo::host
