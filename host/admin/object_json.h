// What is told of stored objects, for programs.
#pragma once

#include <string>
#include <vector>

#include "platform/store/stored_object.h"

namespace quzo::host {

// Each is one JSON object in plain ASCII with a line break. When a stored text cannot be read there are no
// fields ("fields" is null).

// For a listing.
std::string summaryJson(const platform::ObjectSummary& object);

// With its fields and the rules that refer to it.
std::string objectJson(const platform::StoredObject& object,
                       const std::vector<platform::ObjectReference>& references);

// One revision, with the fields as they were.
std::string versionJson(platform::ObjectKind kind, unsigned id, const platform::ObjectVersion& version);

} // namespace quzo::host
