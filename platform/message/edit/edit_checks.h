// What edits of the tree have to ask before they change anything.
#pragma once

#include <string>
#include <vector>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// Whether an entity, of the tree as it stands, can be edited: 0, or the KvMsgError for which not. Brings the
// tree up to date.
int checkEditable(Entity& entity);

// Whether what `text` brings in can be added to the message of `entity`: 0 or kErrorLimit.
int checkRoom(Entity& entity, const ScannedText& text);

// Whether a multipart may stand around an entity: 0 or kErrorLimit.
int checkNesting(const Entity& entity);

// Whether the entity is the root of the message or of an embedded one.
bool isAnyRoot(const Entity& entity);

// Adds the field MIME-Version, which says that the others about the content mean something, when the entity
// is a root that lacks it.
void addMimeVersion(const Entity& entity, std::vector<std::string>& fields);

} // namespace quzo::platform
