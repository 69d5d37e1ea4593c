// The statements that change objects. Each change is written twice: to the object and to its versions.
#include "platform/store/object_writer.h"

#include <algorithm>

#include "platform/base/visible_text.h"
#include "platform/store/object_reader.h"
#include "platform/store/query.h"
#include "platform/store/store_fault.h"
#include "platform/store/store_text.h"

namespace quzo::platform {
namespace {

constexpr long long kMaxId = 4294967294; // 4294967295 stands for a number out of range in settings texts

long long secondsNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string shown(ObjectKind kind, const std::string& name) {
    return std::string(objectKindName(kind)) + " " + quotedText(name);
}

void checkObjectName(const std::string& name) {
    checkName(name, "name");
    if (name.starts_with("OPP:")) {
        throw StoreFailure(StoreTrouble::ReservedName,
                           "the name " + quotedText(name) + " is reserved: names do not begin with OPP:");
    }
}

[[noreturn]] void notFound(const std::string& what) {
    throw StoreFailure(StoreTrouble::NotFound, "there is no " + what);
}

[[noreturn]] void changedMeanwhile(const StoredObject& object, unsigned expected) {
    throw StoreFailure(StoreTrouble::ChangedMeanwhile,
                       shown(object.kind, object.name) + " was changed meanwhile, by " +
                           visibleText(object.author) + " at " + objectTime(object.changed) +
                           ": it is at revision " + std::to_string(object.revision) + ", not " +
                           std::to_string(expected) + "; look at it and try again");
}

[[noreturn]] void inUse(const StoredObject& object, const std::vector<ObjectReference>& references) {
    constexpr std::size_t kNamed = 3;
    std::string rules;
    for (std::size_t index = 0; index < std::min(kNamed, references.size()); ++index) {
        rules += (index == 0 ? "rule " : ", rule ") + std::to_string(references[index].ruleId) + " " +
                 quotedText(references[index].ruleName);
    }
    if (references.size() > kNamed) {
        rules += " and " + std::to_string(references.size() - kNamed) + " more";
    }
    throw StoreFailure(StoreTrouble::InUse, shown(object.kind, object.name) + " is in use by " + rules +
                                                ": take it out of the policy first");
}

} // namespace

ObjectWriter::ObjectWriter(soci::session& session, const std::string& author)
    : session_(session), author_(author), now_(secondsNow()) {}

// The object, when it may be changed.
StoredObject ObjectWriter::changeable(unsigned tenant, unsigned id, std::optional<ObjectKind> kind,
                                      std::optional<unsigned> expected) {
    std::optional<StoredObject> object = readObject(session_, id);
    if (!object || object->tenant != tenant || (kind && object->kind != *kind)) {
        notFound(std::string(kind ? objectKindName(*kind) : "object") + " with id " + std::to_string(id));
    }
    if (expected && *expected != object->revision) {
        changedMeanwhile(*object, *expected);
    }
    if (object->readOnly) {
        throw StoreFailure(StoreTrouble::ReadOnlyObject, shown(object->kind, object->name) + " is read-only");
    }
    return *std::move(object);
}

void ObjectWriter::requireFreeName(unsigned tenant, ObjectKind kind, const std::string& name, unsigned id) {
    const std::optional<StoredObject> other = readObject(session_, tenant, kind, name);
    if (other && other->id != id) {
        throw StoreFailure(StoreTrouble::NameTaken, "there is a " + shown(kind, name) +
                                                        " already: choose another name, or change that one");
    }
}

void ObjectWriter::keepVersion(const StoredObject& object, const char* change) {
    const std::string changeName = change;
    Query query(session_,
                "insert into quzo_version (object_id, revision, tenant, kind, change, name, content,"
                " author, changed_at) values (:id, :revision, :tenant, :kind, :change, :name,"
                " :content, :author, :changed)");
    query.use(object.id).use(object.revision).use(object.tenant).use(static_cast<long long>(object.kind));
    query.use(changeName).use(object.name).use(object.content).use(author_).use(now_).change();
}

void ObjectWriter::update(const StoredObject& object, const char* change) {
    Query query(session_,
                "update quzo_object set name = :name, content = :content, revision = :revision,"
                " author = :author, changed_at = :changed where id = :id");
    query.use(object.name).use(object.content).use(object.revision).use(author_).use(now_).use(object.id);
    query.change();
    keepVersion(object, change);
}

ObjectOutcome ObjectWriter::add(unsigned tenant, ObjectKind kind, const std::string& name,
                                const std::string& content) {
    if (kind < ObjectKind::NotifyArea || kind > ObjectKind::ArchiveArea) {
        throw StoreFailure(StoreTrouble::BadArgument, "there is no kind of object with number " +
                                                          std::to_string(static_cast<unsigned>(kind)) +
                                                          ": kinds are 1 to 4");
    }
    checkObjectName(name);
    checkContent(content, name);
    requireFreeName(tenant, kind, name, 0);
    Query query(session_,
                "insert into quzo_object (tenant, kind, name, content, revision, author, changed_at)"
                " values (:tenant, :kind, :name, :content, :revision, :author, :changed)"
                " returning id");
    long long id = 0;
    query.into(id).use(tenant).use(static_cast<long long>(kind)).use(name).use(content).use(1LL);
    query.use(author_).use(now_).change();
    if (id < 1 || id > kMaxId) {
        throw StoreFailure(StoreTrouble::TooLong, "the store has no number left for another object");
    }
    StoredObject object;
    object.id = static_cast<unsigned>(id);
    object.tenant = tenant;
    object.kind = kind;
    object.name = name;
    object.content = content;
    object.revision = 1;
    keepVersion(object, "add");
    return {ObjectOutcome::Effect::Added, object.id, 1};
}

ObjectOutcome ObjectWriter::modify(unsigned tenant, unsigned id, std::optional<ObjectKind> kind,
                                   const std::string& name, const std::string& content,
                                   std::optional<unsigned> expected) {
    checkObjectName(name);
    checkContent(content, name);
    StoredObject object = changeable(tenant, id, kind, expected);
    requireFreeName(tenant, object.kind, name, id);
    object.name = name;
    object.content = content;
    ++object.revision;
    update(object, "modify");
    return {ObjectOutcome::Effect::Modified, id, object.revision};
}

ObjectOutcome ObjectWriter::remove(unsigned tenant, unsigned id, std::optional<unsigned> expected) {
    StoredObject object = changeable(tenant, id, std::nullopt, expected);
    if (const std::vector<ObjectReference> references = readReferences(session_, tenant, id);
        !references.empty()) {
        inUse(object, references);
    }
    Query(session_, "delete from quzo_object where id = :id").use(id).change();
    ++object.revision;
    keepVersion(object, "remove");
    return {ObjectOutcome::Effect::Removed, id, object.revision};
}

ObjectOutcome ObjectWriter::restore(unsigned tenant, unsigned id, unsigned revision,
                                    std::optional<unsigned> expected) {
    const std::optional<FormerObject> former = readVersion(session_, tenant, id, revision);
    if (!former) {
        notFound("version " + std::to_string(revision) + " of object " + std::to_string(id));
    }
    StoredObject object;
    object.id = id;
    object.tenant = tenant;
    object.kind = former->kind;
    object.name = former->version.name;
    object.content = former->version.content;
    const bool present = readObject(session_, id).has_value();
    if (present) {
        object.revision = changeable(tenant, id, former->kind, expected).revision + 1;
    } else {
        object.revision = readLastRevision(session_, tenant, id) + 1;
        if (expected && *expected + 1 != object.revision) {
            notFound(shown(object.kind, object.name) + " any more: it was removed meanwhile");
        }
    }
    requireFreeName(tenant, object.kind, object.name, id);
    if (!present) {
        Query query(session_,
                    "insert into quzo_object (id, tenant, kind, name, content, revision, author,"
                    " changed_at) values (:id, :tenant, :kind, :name, :content, :revision, :author,"
                    " :changed)");
        query.use(id).use(tenant).use(static_cast<long long>(object.kind)).use(object.name);
        query.use(object.content).use(object.revision).use(author_).use(now_).change();
        keepVersion(object, "restore");
        return {ObjectOutcome::Effect::Added, id, object.revision};
    }
    update(object, "restore");
    return {ObjectOutcome::Effect::Modified, id, object.revision};
}

ObjectOutcome ObjectWriter::apply(unsigned tenant, const ObjectChange& change) {
    switch (change.type) {
        case ObjectChange::Type::Add:
            return add(tenant, change.kind, change.name, change.content);
        case ObjectChange::Type::Modify:
            return modify(tenant, change.id, std::nullopt, change.name, change.content,
                          change.expectedRevision);
        case ObjectChange::Type::Remove:
            return remove(tenant, change.id, change.expectedRevision);
        case ObjectChange::Type::Put:
            break;
    }
    checkObjectName(change.name);
    const std::optional<StoredObject> present = readObject(session_, tenant, change.kind, change.name);
    if (!present) {
        return add(tenant, change.kind, change.name, change.content);
    }
    if (present->content == change.content) {
        return {ObjectOutcome::Effect::Unchanged, present->id, present->revision};
    }
    return modify(tenant, present->id, change.kind, change.name, change.content, change.expectedRevision);
}

void ObjectWriter::setReadOnly(unsigned tenant, unsigned id, bool on) {
    const std::optional<StoredObject> object = readObject(session_, id);
    if (!object || object->tenant != tenant) {
        notFound("object with id " + std::to_string(id));
    }
    Query(session_, "update quzo_object set read_only = :on where id = :id")
        .use(on ? 1LL : 0LL)
        .use(id)
        .change();
}

void ObjectWriter::replaceReferences(unsigned tenant, const std::vector<ObjectReference>& wanted) {
    Query(session_, "delete from quzo_reference where tenant = :tenant").use(tenant).change();
    for (const ObjectReference& reference : wanted) {
        checkRuleName(reference.ruleName, reference.ruleId);
        const std::optional<StoredObject> object = readObject(session_, reference.objectId);
        if (!object || object->tenant != tenant) {
            notFound("object with id " + std::to_string(reference.objectId) + ", which rule " +
                     std::to_string(reference.ruleId) + " refers to");
        }
        Query query(session_,
                    "insert into quzo_reference (tenant, rule_id, rule_name, object_id)"
                    " values (:tenant, :rule, :name, :object)");
        query.use(tenant).use(reference.ruleId).use(reference.ruleName).use(reference.objectId).change();
    }
}

} // namespace quzo::platform
