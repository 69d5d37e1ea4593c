// The statements that read, and how their columns become values.
#include "platform/store/object_reader.h"

#include <limits>

#include "platform/store/query.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {
namespace {

// For numbers that this program wrote; others may have written since.
unsigned toNumber(long long column) {
    if (column < 0 || column > std::numeric_limits<unsigned>::max()) {
        throw StoreFailure(StoreTrouble::Damaged,
                           "the store holds a number that is out of range: restore it from a backup");
    }
    return static_cast<unsigned>(column);
}

std::chrono::sys_seconds toTime(long long column) {
    constexpr long long kEndOf9999 = 253402300799;
    if (column < 0 || column > kEndOf9999) {
        throw StoreFailure(StoreTrouble::Damaged,
                           "the store holds a time that is out of range: restore it from a backup");
    }
    return std::chrono::sys_seconds{std::chrono::seconds{column}};
}

const std::string kObjectColumns =
    "select o.id, o.tenant, o.kind, o.name, o.revision, o.author, o.changed_at, o.read_only,"
    " case when exists (select 1 from quzo_reference r where r.object_id = o.id) then 1 else 0 end";
const std::string kWithContent = ", o.content from quzo_object o";
const std::string kWithoutContent = " from quzo_object o";
const std::string kInOrder = " order by o.kind, o.name";

// The columns of one object, on their way from the database.
struct ObjectRow {
    long long id = 0;
    long long tenant = 0;
    long long kind = 0;
    long long revision = 0;
    long long changed = 0;
    long long readOnly = 0;
    long long inUse = 0;
    StoredObject object;

    void bind(Query& query, bool withContent) {
        query.into(id).into(tenant).into(kind).into(object.name).into(revision);
        query.into(object.author).into(changed).into(readOnly).into(inUse);
        if (withContent) {
            query.into(object.content);
        }
    }

    const StoredObject& take() {
        object.id = toNumber(id);
        object.tenant = toNumber(tenant);
        object.kind = static_cast<ObjectKind>(toNumber(kind));
        object.revision = toNumber(revision);
        object.changed = toTime(changed);
        object.readOnly = readOnly != 0;
        object.inUse = inUse != 0;
        return object;
    }
};

template <typename Object>
std::vector<Object> readList(soci::session& session, unsigned tenant, std::optional<ObjectKind> kind,
                             bool withContent) {
    const std::string condition =
        kind ? " where o.tenant = :tenant and o.kind = :kind" : " where o.tenant = :tenant";
    Query query(session,
                kObjectColumns + (withContent ? kWithContent : kWithoutContent) + condition + kInOrder);
    ObjectRow row;
    row.bind(query, withContent);
    query.use(tenant);
    if (kind) {
        query.use(static_cast<long long>(*kind));
    }
    std::vector<Object> objects;
    for (query.run(); query.next();) {
        objects.push_back(row.take());
    }
    return objects;
}

constexpr const char* kVersionColumns =
    "select revision, change, name, content, author, changed_at, kind from quzo_version"
    " where tenant = :tenant and object_id = :id";

struct VersionRow {
    long long revision = 0;
    long long changed = 0;
    long long kind = 0;
    ObjectVersion version;

    void bind(Query& query) {
        query.into(revision).into(version.change).into(version.name).into(version.content);
        query.into(version.author).into(changed).into(kind);
    }

    const ObjectVersion& take() {
        version.revision = toNumber(revision);
        version.changed = toTime(changed);
        return version;
    }
};

} // namespace

std::vector<StoredObject> readObjects(soci::session& session, unsigned tenant,
                                      std::optional<ObjectKind> kind) {
    return readList<StoredObject>(session, tenant, kind, true);
}

std::vector<ObjectSummary> readSummaries(soci::session& session, unsigned tenant,
                                         std::optional<ObjectKind> kind) {
    return readList<ObjectSummary>(session, tenant, kind, false);
}

std::optional<StoredObject> readObject(soci::session& session, unsigned id) {
    Query query(session, kObjectColumns + kWithContent + " where o.id = :id");
    ObjectRow row;
    row.bind(query, true);
    return query.use(id).run().next() ? std::optional(row.take()) : std::nullopt;
}

std::optional<StoredObject> readObject(soci::session& session, unsigned tenant, ObjectKind kind,
                                       const std::string& name) {
    Query query(session, kObjectColumns + kWithContent +
                             " where o.tenant = :tenant and o.kind = :kind and o.name = :name");
    ObjectRow row;
    row.bind(query, true);
    query.use(tenant).use(static_cast<long long>(kind)).use(name);
    return query.run().next() ? std::optional(row.take()) : std::nullopt;
}

void visitObjects(soci::session& session, unsigned tenant,
                  const std::function<void(const StoredObject&)>& visit) {
    Query query(session,
                "select id, kind, name, content from quzo_object where tenant = :tenant"
                " order by kind, name");
    long long id = 0;
    long long kind = 0;
    StoredObject object;
    query.into(id).into(kind).into(object.name).into(object.content).use(tenant);
    for (query.run(); query.next();) {
        object.id = toNumber(id);
        object.tenant = tenant;
        object.kind = static_cast<ObjectKind>(toNumber(kind));
        visit(object);
    }
}

std::vector<ObjectVersion> readHistory(soci::session& session, unsigned tenant, unsigned id) {
    Query query(session, std::string(kVersionColumns) + " order by revision");
    VersionRow row;
    row.bind(query);
    std::vector<ObjectVersion> versions;
    for (query.use(tenant).use(id).run(); query.next();) {
        versions.push_back(row.take());
    }
    return versions;
}

std::optional<FormerObject> readVersion(soci::session& session, unsigned tenant, unsigned id,
                                        unsigned revision) {
    Query query(session, std::string(kVersionColumns) + " and revision = :revision");
    VersionRow row;
    row.bind(query);
    if (!query.use(tenant).use(id).use(revision).run().next()) {
        return std::nullopt;
    }
    return FormerObject{static_cast<ObjectKind>(toNumber(row.kind)), row.take()};
}

std::optional<unsigned> readRemovedId(soci::session& session, unsigned tenant, ObjectKind kind,
                                      const std::string& name) {
    Query query(session,
                "select v.object_id from quzo_version v"
                " where v.tenant = :tenant and v.kind = :kind and v.name = :name"
                " and v.change = 'remove'"
                " and not exists (select 1 from quzo_object o where o.id = v.object_id)"
                " order by v.changed_at desc, v.object_id desc limit 1");
    long long id = 0;
    query.into(id).use(tenant).use(static_cast<long long>(kind)).use(name);
    return query.run().next() ? std::optional(toNumber(id)) : std::nullopt;
}

unsigned readLastRevision(soci::session& session, unsigned tenant, unsigned id) {
    Query query(session,
                "select coalesce(max(revision), 0) from quzo_version"
                " where tenant = :tenant and object_id = :id");
    long long revision = 0;
    query.into(revision).use(tenant).use(id).run().next();
    return toNumber(revision);
}

std::vector<ObjectReference> readReferences(soci::session& session, unsigned tenant,
                                            std::optional<unsigned> id) {
    Query query(session, std::string("select rule_id, rule_name, object_id from quzo_reference"
                                     " where tenant = :tenant") +
                             (id ? " and object_id = :id" : "") + " order by rule_id, object_id");
    long long ruleId = 0;
    long long objectId = 0;
    ObjectReference reference;
    query.into(ruleId).into(reference.ruleName).into(objectId).use(tenant);
    if (id) {
        query.use(*id);
    }
    std::vector<ObjectReference> references;
    for (query.run(); query.next();) {
        reference.ruleId = toNumber(ruleId);
        reference.objectId = toNumber(objectId);
        references.push_back(reference);
    }
    return references;
}

} // namespace quzo::platform
