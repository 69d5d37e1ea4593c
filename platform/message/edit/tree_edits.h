// The edits that change what a message consists of. Each happens whole, or reports why not and has changed
// nothing.
//
// They refuse what they cannot do without damage: bytes in which a boundary of a multipart around them occurs
// (kErrorInvalidArgument), a message that a limit cut or that would exceed one (kErrorLimit), an entity
// without a readable header block (kErrorMalformedEntity). Results are 0 or a KvMsgError; std::bad_alloc
// passes.
#pragma once

#include <string_view>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// A new body for an entity. Texts may be null.
struct NewBody {
    std::string_view bytes; // not encoded
    const char* type;       // "type/subtype"; null: the one that stands
    const char* charset;    // null: the charset parameter that stands
    const char* encoding;   // 7bit, 8bit, binary, quoted-printable, base64; null: whichever fits
    bool anew = false;      // what other fields say of the content goes too
};

// Replaces the body and the fields Content-Type and Content-Transfer-Encoding. Text gets the message's line
// ends. An encoding that cannot hold the bytes is kErrorInvalidArgument.
int replaceBody(Entity& entity, const NewBody& body);

// Puts a copy of an entity, also one of another message, with its edits, before the child at `position` of
// `into`, or behind all for a negative one. What is no multipart becomes one first, with its former self as
// the first part.
int insertCopy(Entity& into, Entity& child, int position);

// The same with a whole message, as a message/rfc822 part; `root` is its root.
int insertWhole(Entity& into, Entity& root, int position);

// Makes an entity a multipart/mixed with one part: what the entity was, byte for byte. The fields that
// describe the content (Content-...) move to the part, all others stay.
int wrap(Entity& entity);

// Takes an entity out, and each multipart that is left empty. A root is emptied to a text/plain instead. An
// entity that was signed loses its signature with it: the multipart/signed becomes what is left of its
// content. Nothing is taken out of a multipart/encrypted (kErrorNotSupported). A message that wants removal
// notes gets one in the entity's place.
int removeEntity(Entity& entity);

} // namespace quzo::platform
