// Which parts of a message a stamp goes into.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

struct StampTarget {
    enum class How : std::uint8_t {
        Text,    // into a text/plain part
        Html,    // into a text/html part
        Beside,  // as a part of its own next to the entity, which is not touched
        Outside, // as a part of its own in the entity, a multipart that shows no text
    };
    How how;
    Entity* entity; // of the tree, never null
};

// The text alternatives of a message's body, in document order; what is signed or encrypted stands for all
// that is in it. Embedded messages and attachments are no body. Never empty.
std::vector<StampTarget> stampTargets(Entity& root);

// Whether a multipart shows all of its parts, one behind the other, and there may be any number of them.
bool isShownInTurn(const Entity& multipart);

// Whether a new part can stand next to the entity in the multipart around it, and both are shown. Elsewhere
// (in alternatives, beside the root of a related part, at the message's root) the entity has to be wrapped.
bool canHaveNeighbours(const Entity& entity);

} // namespace quzo::platform
