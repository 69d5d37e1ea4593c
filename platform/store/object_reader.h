// Reading the tables. Every function needs an open transaction and throws what the database throws.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "platform/store/stored_object.h"

namespace soci {
class session;
}

namespace quzo::platform {

// One tenant's objects, of one kind or all, sorted by kind and by the bytes of their names.
std::vector<StoredObject> readObjects(soci::session& session, unsigned tenant,
                                      std::optional<ObjectKind> kind);
// The same without the contents.
std::vector<ObjectSummary> readSummaries(soci::session& session, unsigned tenant,
                                         std::optional<ObjectKind> kind);

std::optional<StoredObject> readObject(soci::session& session, unsigned id);
std::optional<StoredObject> readObject(soci::session& session, unsigned tenant, ObjectKind kind,
                                       const std::string& name);

// Calls `visit` for each object of a tenant, sorted as above. Only id, kind, name and content are set, and
// the object is the same each time: for reading many.
void visitObjects(soci::session& session, unsigned tenant,
                  const std::function<void(const StoredObject&)>& visit);

// Oldest first.
std::vector<ObjectVersion> readHistory(soci::session& session, unsigned tenant, unsigned id);

struct FormerObject {
    ObjectKind kind = ObjectKind::NotifyArea;
    ObjectVersion version;
};
std::optional<FormerObject> readVersion(soci::session& session, unsigned tenant, unsigned id,
                                        unsigned revision);

// The object that was removed last under this name.
std::optional<unsigned> readRemovedId(soci::session& session, unsigned tenant, ObjectKind kind,
                                      const std::string& name);

// The highest revision that an object ever had; 0 when there never was one.
unsigned readLastRevision(soci::session& session, unsigned tenant, unsigned id);

// Sorted by rule and object; those to one object when `id` is set.
std::vector<ObjectReference> readReferences(soci::session& session, unsigned tenant,
                                            std::optional<unsigned> id);

} // namespace quzo::platform
