// The text that stands where a part was removed.
#pragma once

#include <string>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// The message's removal note for an entity of it, filled in. Empty when none is wanted.
std::string removalNoteFor(Entity& entity);

// Puts a note as a text part in front of an entity that is about to be removed, if its place shows all of its
// parts: among alternatives it would be shown instead of the message. A note that cannot be put there is not.
void placeRemovalNote(Entity& entity, const std::string& note);

} // namespace quzo::platform
