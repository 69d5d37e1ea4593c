// Writes a scanned structure as text, for tests that state what they expect in a readable form.
#pragma once

#include <string>
#include <string_view>

#include "platform/message/structure/structure.h"

namespace quzo::platform::test {

// One line for each entity, indented by its depth, with line breaks in texts written as \n and \r:
//
//   multipart [From, Content-Type] boundary=b preamble="..." epilogue="..."    "unclosed" instead of an
//   epilogue
//     leaf [Content-Type] "the body"
//
// "unreadable" and "cut" follow where they apply; message and other are the embedded messages.
std::string dumpStructure(std::string_view text, const Structure& structure);

// What must hold for every structure, whatever the message: order, nesting, ranges, boundary lines. Returns
// the first thing that does not hold, or an empty text.
std::string brokenInvariant(std::string_view text, const Structure& structure);

} // namespace quzo::platform::test
