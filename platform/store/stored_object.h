// What the store keeps: objects, their versions, and the references of policies.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "quzo/settings/named_obj.h"

namespace quzo::platform {

using ObjectKind = QuzoNamedObj::NaObjType;

// "notify", "stamp", "quarantine" or "archive"; "object" for any other number.
const char* objectKindName(ObjectKind kind);

// The kind of that name.
std::optional<ObjectKind> objectKindNamed(std::string_view name);

// "2024-05-01 12:00:00 UTC".
std::string objectTime(std::chrono::sys_seconds time);

struct ObjectSummary {
    unsigned id = 0;
    unsigned tenant = 0;
    ObjectKind kind = ObjectKind::NotifyArea;
    std::string name;
    unsigned revision = 0; // 1 for a new object, one more with each change
    std::string author;    // of the last change
    std::chrono::sys_seconds changed;
    bool inUse = false;    // a rule of the tenant's policy refers to it
    bool readOnly = false; // nobody may change or remove it
};

struct StoredObject : ObjectSummary {
    std::string content; // text form
};

// An object as it was after one change. A removal is a version too, with the name and content that went.
struct ObjectVersion {
    unsigned revision = 0;
    std::string change; // "add", "modify", "remove" or "restore"
    std::string name;
    std::string content;
    std::string author;
    std::chrono::sys_seconds changed;
};

// A rule of a tenant's policy refers to an object.
struct ObjectReference {
    unsigned ruleId = 0;
    std::string ruleName;
    unsigned objectId = 0;

    bool operator==(const ObjectReference&) const = default;
};

// One step of a set of changes that is made as a whole or not at all.
struct ObjectChange {
    enum class Type {
        Add,    // kind, name, content
        Modify, // id, name, content; `expectedRevision` when set
        Put,    // kind, name, content: adds, or changes the content of the object of that name
        Remove  // id; `expectedRevision` when set
    };
    Type type = Type::Put;
    ObjectKind kind = ObjectKind::NotifyArea;
    unsigned id = 0;
    std::optional<unsigned> expectedRevision;
    std::string name;
    std::string content;
};

// What a change did: the object and its revision afterwards.
struct ObjectOutcome {
    enum class Effect { Added, Modified, Unchanged, Removed };
    Effect effect = Effect::Unchanged;
    unsigned id = 0;
    unsigned revision = 0;
};

} // namespace quzo::platform
