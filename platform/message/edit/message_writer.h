// Writing a message as it now stands.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/message/edit/entity.h"

namespace quzo::platform {

// Piece by piece, in order; ranges that nobody touched come as they lie in their text, neighbours as one. A
// false from the sink stops it and is the result. What the sink throws goes through.
using PieceSink = std::function<bool(std::string_view piece)>;

// The whole message, with what stands in front of its header block. The tree must have been brought up to
// date (EntityTree::grow), unless nothing but header fields of the root was edited; so with all of these.
bool writeMessage(const MessageContext& context, const PieceSink& sink);

// An entity, from its header block to the end of its content, behind `front`.
std::string writtenEntity(const Entity& entity, std::string front = {});

// What stands behind the header block and its empty line, behind `front`.
std::string writtenContent(const Entity& entity, std::string front = {});

// The header block with its line breaks, without the empty line.
std::string writtenHeader(const HeaderBlock& header);

} // namespace quzo::platform
