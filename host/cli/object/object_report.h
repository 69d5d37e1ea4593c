// What is told of stored objects, for people.
#pragma once

#include <string>
#include <vector>

#include "platform/store/stored_object.h"

namespace quzo::host {

// One object with its fields and the rules that refer to it. When its stored text cannot be read there are no
// fields.
std::string objectText(const platform::StoredObject& object,
                       const std::vector<platform::ObjectReference>& references);

// The fields of a stored text, one "name  value" a line, texts of several lines below their name.
std::string fieldsText(platform::ObjectKind kind, const std::string& content);

} // namespace quzo::host
