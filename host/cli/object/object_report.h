// What is told of stored objects.
#pragma once

#include <string>
#include <vector>

#include "platform/store/stored_object.h"

namespace quzo::host {

// A line of JSON for a listing.
std::string summaryJson(const platform::ObjectSummary& object);

// One object with its fields and the rules that refer to it: lines for people, a line of JSON. When its
// stored text cannot be read there are no fields ("fields" is null).
std::string objectText(const platform::StoredObject& object,
                       const std::vector<platform::ObjectReference>& references);
std::string objectJson(const platform::StoredObject& object,
                       const std::vector<platform::ObjectReference>& references);

// One revision as a line of JSON, with the fields as they were.
std::string versionJson(platform::ObjectKind kind, unsigned id, const platform::ObjectVersion& version);

// The fields of a stored text, one "name  value" a line, texts of several lines below their name.
std::string fieldsText(platform::ObjectKind kind, const std::string& content);

} // namespace quzo::host
