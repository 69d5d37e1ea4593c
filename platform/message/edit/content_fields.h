// The header fields that say what an entity's content is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// "Content-..."
bool describesContent(std::string_view name);

// Those of an entity as they stand, each with its line break; for another place, which may be one of a
// digest. What the old place alone said is said in so many words.
std::vector<std::string> contentFields(const Entity& entity, bool forDigest);

} // namespace quzo::platform
