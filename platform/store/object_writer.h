// Changing the tables, inside of a writing transaction of the caller's.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/store/stored_object.h"

namespace soci {
class session;
}

namespace quzo::platform {

// Every change is checked first: a StoreFailure says what stands against it, and the caller rolls back. What
// the database throws comes through, too.
class ObjectWriter {
public:
    // `author` and the time of now go into everything that is changed. Both references must outlive the
    // writer.
    ObjectWriter(soci::session& session, const std::string& author);

    ObjectOutcome add(unsigned tenant, ObjectKind kind, const std::string& name, const std::string& content);

    // `kind` and `expected`, when set, must be what the object has.
    ObjectOutcome modify(unsigned tenant, unsigned id, std::optional<ObjectKind> kind,
                         const std::string& name, const std::string& content,
                         std::optional<unsigned> expected);

    ObjectOutcome remove(unsigned tenant, unsigned id, std::optional<unsigned> expected);

    // Gives the object the name and content of a former version, as a new one; a removed object comes back
    // under its old id.
    ObjectOutcome restore(unsigned tenant, unsigned id, unsigned revision, std::optional<unsigned> expected);

    ObjectOutcome apply(unsigned tenant, const ObjectChange& change);

    void setReadOnly(unsigned tenant, unsigned id, bool on);

    // Replaces the tenant's references; `wanted` is sorted and without doubles.
    void replaceReferences(unsigned tenant, const std::vector<ObjectReference>& wanted);

private:
    StoredObject changeable(unsigned tenant, unsigned id, std::optional<ObjectKind> kind,
                            std::optional<unsigned> expected);
    void requireFreeName(unsigned tenant, ObjectKind kind, const std::string& name, unsigned id);
    void update(const StoredObject& object, const char* change);
    void keepVersion(const StoredObject& object, const char* change);

    soci::session& session_;
    const std::string& author_;
    long long now_; // seconds since 1970
};

} // namespace quzo::platform
