// Scanning what an edit brings in at the place where it will stand.
//
// What bytes mean depends on what is around them: a line may be a boundary of a multipart further out, and a
// part of a digest is a message unless it says otherwise. So new bytes are scanned with the boundaries around
// their place open, and refused when one of them ends in the middle.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// What is around an entity; with `inside`, around what lies in it. Views that hold as long as the message.
PartPlace placeOf(const Entity& entity, bool inside = false);

// Whether what stands in the entity's place is a message when no Content-Type says otherwise.
bool isInDigest(const Entity& entity);

// The content of an entity, scanned anew as its header block now describes it; the message keeps the text.
// Null when it does not end with the content, because a boundary around it occurs in it.
const ScannedText* scanContent(Entity& entity);

// The bytes of a whole part, scanned at a place in a message, which keeps them. `followed`: a delimiter line
// stands behind it there. Null when one of the boundaries around it occurs in it.
const ScannedText* scanPartAt(MessageContext& context, std::string part, const PartPlace& place,
                              bool followed = true);

// Whether a delimiter line follows an entity when it is written, and not the end of the message.
bool isFollowed(const Entity& entity);

// Whether a delimiter line of one of `boundaries` behind an entity would be taken for one of a multipart in
// it that is not closed.
bool wouldSwallow(const Entity& entity, const std::vector<std::string_view>& boundaries);

// Whether the entity's type, by default also that of its place, is that of a multipart or a message.
bool mayHoldParts(const Entity& entity);

// Whether a Content-Type of the entity is that of a multipart.
bool namesBoundary(const Entity& entity);

// Whether the structure of an entity may be another when something else follows it: at the end of the data an
// empty message is no message, and no part begins behind a boundary line that stands there.
bool dependsOnWhatFollows(const Entity& entity);

} // namespace quzo::platform
