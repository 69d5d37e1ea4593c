// Reads the references of an action to named objects.
#pragma once

#include "host/policy/policy_objects.h"
#include "host/policy/toml_reading.h"

namespace quzo::host {

// The fields `object` and `objects` of an action, names or ids, as its field "ids"; false when a fault was
// reported. For types with objects only.
bool readObjects(const TableAt& at, const PolicyActionType& type, const ObjectLookup& lookup, Fields& fields,
                 FaultList& faults);

// Whether all objects in a setting text are in the store; false when a fault was reported. True for types
// without objects.
bool checkObjects(const TableAt& at, const PolicyActionType& type, std::string_view setting,
                  const ObjectLookup& lookup, FaultList& faults);

// Reports a name of the rule that its stamps cannot show in their HTML.
void checkNameInStamps(const Rule& rule, const std::string& where, const ObjectLookup& lookup,
                       FaultList& faults);

} // namespace quzo::host
