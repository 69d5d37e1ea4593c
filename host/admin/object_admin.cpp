// See object_admin.h.
#include "host/admin/object_admin.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/admin/object_form.h"
#include "host/base/exit_code.h"
#include "host/gateway/finding_faults.h"
#include "host/policy/object_doubts.h"
#include "host/policy/policy_objects.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using platform::ObjectChange;
using platform::ObjectKind;
using platform::StoredObject;

Fault refused(ObjectKind kind, const std::string& name, const platform::Finding& fault) {
    return {kExitData, shownObject(kind, name) + ": --" + fault.where, fault.problem, fault.remedy};
}

MaybeFault readFields(ObjectKind kind, const std::string& name, const FieldTexts& fields,
                      ObjectValues& values) {
    for (const auto& [key, text] : fields) {
        const ObjectField* field = findObjectField(kind, key);
        if (field == nullptr) {
            return Fault{kExitUsage, "--" + key,
                         std::string("a ") + platform::objectKindName(kind) + " object has no such field",
                         "leave it out"};
        }
        platform::Finding fault;
        std::optional<ObjectValue> value = parseObjectValue(*field, text, fault);
        if (!value) {
            return refused(kind, name, fault);
        }
        values.emplace_back(key, *std::move(value));
    }
    return std::nullopt;
}

// Puts the fields into the form and gives the text to store.
Result<std::string> filledIn(ObjectForm form, const std::string& name, const FieldTexts& fields) {
    ObjectValues values;
    if (const MaybeFault fault = readFields(form.kind(), name, fields, values)) {
        return *fault;
    }
    std::string content;
    std::optional<platform::Finding> fault = form.set(values);
    if (!fault) {
        fault = form.write(content);
    }
    return fault ? Result<std::string>(refused(form.kind(), name, *fault))
                 : Result<std::string>(std::move(content));
}

// What looks like a mistake in a text that is to be stored; `before` is said in front of the object.
Faults warningsOn(ObjectKind kind, const std::string& name, const std::string& content,
                  const std::string& before = {}) {
    Faults warnings;
    const std::optional<ObjectForm> form = ObjectForm::read(kind, content);
    for (const platform::Finding& doubt : form ? doubtsOf(form->object()) : platform::Findings()) {
        warnings.push_back(Fault::warning(before + shownObject(kind, name) + ": " + doubt.where,
                                          doubt.problem, doubt.remedy));
    }
    return warnings;
}

// The rules of the policy that refer to the object, for people; empty when none does.
std::string rulesWith(const Policy& policy, unsigned objectId) {
    std::string rules;
    for (const platform::ObjectReference& reference : objectReferences(policy)) {
        if (reference.objectId == objectId) {
            rules += fmt::format("{}rule {} {}", rules.empty() ? "" : ", ", reference.ruleId,
                                 platform::quotedText(reference.ruleName));
        }
    }
    return rules;
}

} // namespace

Result<std::string> newObjectText(ObjectKind kind, const std::string& name, const FieldTexts& fields) {
    const bool hasText =
        kind != ObjectKind::StampArea ||
        std::any_of(fields.begin(), fields.end(), [](const auto& field) { return field.first == "text"; });
    if (!hasText) {
        return Fault{kExitUsage, shownObject(kind, name), "it has no text", "give --text or --text-file"};
    }
    return filledIn(ObjectForm(kind), name, fields);
}

Result<std::string> changedObjectText(const StoredObject& object, const FieldTexts& fields) {
    std::optional<ObjectForm> form = ObjectForm::read(object.kind, object.content);
    if (!form) {
        return Fault{kExitData, shownObject(object.kind, object.name), "its stored text cannot be read",
                     "restore a former revision, or remove it and add it anew"};
    }
    return filledIn(*std::move(form), object.name, fields);
}

Fault ObjectAdmin::fault(const platform::StoreFault& fault) const { return faultOf(fault, settingsFile_); }

Result<ObjectChanged> ObjectAdmin::changed(
    const char* what, Kind kind, const std::string& name,
    const platform::StoreResult<platform::ObjectOutcome>& outcome) const {
    if (!outcome) {
        return fault(outcome.fault());
    }
    return ObjectChanged{what, kind, name, outcome->id, outcome->revision};
}

Result<std::vector<platform::ObjectSummary>> ObjectAdmin::list(std::optional<Kind> kind) {
    auto objects = store_.list(tenant_, kind);
    if (!objects) {
        return fault(objects.fault());
    }
    return std::move(*objects);
}

Result<StoredObject> ObjectAdmin::find(Kind kind, const std::string& name) {
    auto object = store_.find(tenant_, kind, name);
    if (!object) {
        return fault(object.fault());
    }
    return std::move(*object);
}

Result<ObjectView> ObjectAdmin::show(Kind kind, const std::string& name) {
    auto object = store_.find(tenant_, kind, name);
    if (!object) {
        return fault(object.fault());
    }
    auto references = store_.references(tenant_, object->id);
    if (!references) {
        return fault(references.fault());
    }
    return ObjectView{std::move(*object), std::move(*references)};
}

Result<ObjectHistory> ObjectAdmin::history(Kind kind, const std::string& name) {
    const auto present = store_.find(tenant_, kind, name);
    unsigned id = 0;
    if (present) {
        id = present->id;
    } else if (const auto removed = store_.findRemoved(tenant_, kind, name)) {
        id = *removed;
    } else {
        return fault(present.fault());
    }
    auto versions = store_.history(tenant_, id);
    if (!versions) {
        return fault(versions.fault());
    }
    return ObjectHistory{id, std::move(*versions)};
}

Result<ObjectChanged> ObjectAdmin::add(Kind kind, const std::string& name, const std::string& content) {
    Result<ObjectChanged> done = changed("added", kind, name, store_.add(tenant_, kind, name, content));
    if (done) {
        done->warnings = warningsOn(kind, name, content);
    }
    return done;
}

Result<ObjectChanged> ObjectAdmin::update(Kind kind, const std::string& name, const FieldTexts& fields,
                                          std::optional<unsigned> expected) {
    const auto object = store_.find(tenant_, kind, name);
    if (!object) {
        return fault(object.fault());
    }
    const Result<std::string> content = changedObjectText(*object, fields);
    if (!content) {
        return content.fault();
    }
    const unsigned revision = expected.value_or(object->revision);
    if (*content == object->content && revision == object->revision) {
        return ObjectChanged{"unchanged", kind, name, object->id, object->revision};
    }
    Result<ObjectChanged> done =
        changed("changed", kind, name, store_.modify(tenant_, object->id, kind, name, *content, revision));
    if (done) {
        done->warnings = warningsOn(kind, name, *content);
    }
    return done;
}

Result<ObjectChanged> ObjectAdmin::remove(Kind kind, const std::string& name,
                                          std::optional<unsigned> expected, const Policy* policy,
                                          const std::string& policyFile) {
    const auto object = store_.find(tenant_, kind, name);
    if (!object) {
        return fault(object.fault());
    }
    if (const std::string rules = policy != nullptr ? rulesWith(*policy, object->id) : ""; !rules.empty()) {
        return Fault{kExitData, policyFile, shownObject(kind, name) + " is in use by " + rules,
                     "take it out of the policy first"};
    }
    return changed("removed", kind, name,
                   store_.remove(tenant_, object->id, expected.value_or(object->revision)));
}

Result<ObjectChanged> ObjectAdmin::restore(Kind kind, const std::string& name,
                                           std::optional<unsigned> revision) {
    const auto present = store_.find(tenant_, kind, name);
    if (present && !revision) {
        return Fault{kExitUsage, shownObject(kind, name),
                     "it is there, at revision " + std::to_string(present->revision),
                     "say which one is to come back with --revision; see show --history"};
    }
    const auto id =
        present ? platform::StoreResult<unsigned>(present->id) : store_.findRemoved(tenant_, kind, name);
    if (!id) {
        return fault(id.fault());
    }
    const auto versions = store_.history(tenant_, *id);
    if (!versions) {
        return fault(versions.fault());
    }
    const unsigned newest = versions->back().revision;
    return changed("restored", kind, name, store_.restore(tenant_, *id, revision.value_or(newest), newest));
}

Result<ObjectExport> ObjectAdmin::exportText(std::optional<Kind> kind,
                                             const std::optional<std::string>& name) {
    std::vector<StoredObject> objects;
    if (kind && name) {
        auto object = store_.find(tenant_, *kind, *name);
        if (!object) {
            return fault(object.fault());
        }
        objects.push_back(std::move(*object));
    } else {
        auto all = store_.exportObjects(tenant_, kind);
        if (!all) {
            return fault(all.fault());
        }
        objects = std::move(*all);
    }
    ObjectExport done{objectFileHead(), {}};
    for (const StoredObject& object : objects) {
        bool readable = false;
        done.text += objectTable(object.kind, object.name, object.content, readable);
        if (!readable) {
            done.warnings.push_back(Fault::warning(shownObject(object.kind, object.name),
                                                   "its stored text cannot be read, and an import refuses it",
                                                   "restore a former revision, or remove it"));
        }
    }
    return done;
}

Result<ObjectImport> ObjectAdmin::import(const ObjectFile& file, const std::string& fileName, bool dryRun) {
    std::vector<ObjectChange> changes;
    changes.reserve(file.objects.size());
    for (const FileObject& object : file.objects) {
        changes.push_back({ObjectChange::Type::Put, object.kind, 0, {}, object.name, object.content});
    }
    std::size_t failedAt = changes.size();
    const auto outcomes = store_.apply(tenant_, changes, dryRun, &failedAt);
    if (!outcomes) {
        // A change that is refused belongs to a line of the file; anything else to the store.
        if (outcomes.fault().remedy() != platform::StoreRemedy::ChangeRequest ||
            failedAt >= file.objects.size()) {
            return fault(outcomes.fault());
        }
        const FileObject& object = file.objects[failedAt];
        return Fault{
            kExitData,
            fileName + ":" + std::to_string(object.line) + ": " + shownObject(object.kind, object.name),
            outcomes.fault().text, "nothing was changed"};
    }
    ObjectImport done;
    for (const platform::ObjectOutcome& outcome : *outcomes) {
        done.effects.push_back(outcome.effect);
    }
    for (const FileObject& object : file.objects) {
        const Faults warnings = warningsOn(object.kind, object.name, object.content,
                                           fileName + ":" + std::to_string(object.line) + ": ");
        done.warnings.insert(done.warnings.end(), warnings.begin(), warnings.end());
    }
    return done;
}

} // namespace quzo::host
