// The named objects that a policy refers to: found by name, held by id.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/policy/action_type.h"
#include "host/policy/policy.h"
#include "platform/base/finding.h"
#include "platform/store/stored_named_objects.h"

namespace quzo::host {

// Answers for the references of one policy, in words for an administrator.
class ObjectLookup {
public:
    // What it gives must outlive the lookup.
    explicit ObjectLookup(ObjectSource objects) : source_(std::move(objects)) {}

    // The id of the object; 0 with what is wrong.
    unsigned byName(platform::ObjectKind kind, std::string_view name, platform::Finding& fault) const;
    unsigned byId(platform::ObjectKind kind, unsigned id, platform::Finding& fault) const;

    // The object; null when there is none, or no store.
    const QuzoNamedObj* find(unsigned id) const;

private:
    unsigned usable(unsigned id, platform::Finding& fault) const;

    // Null: there is no store, and no reference can be resolved.
    const platform::StoredNamedObjects* objects() const;

    ObjectSource source_;
    mutable std::optional<const platform::StoredNamedObjects*> objects_; // once it has been asked for
};

// The ids in the setting text of an action of that type; none for types without objects.
std::vector<unsigned> objectIdsOf(const PolicyActionType& type, std::string_view setting);

// Every reference of a policy, in the order of its rules; an object that a rule names twice comes once.
std::vector<platform::ObjectReference> objectReferences(const Policy& policy);

} // namespace quzo::host
