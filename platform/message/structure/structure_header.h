// The header scan with what only the scan of the whole structure knows.
#pragma once

#include "platform/message/structure/structure.h"
#include "platform/message/structure/structure_boundaries.h"

namespace quzo::platform {

// As scanHeader, for a header block that is not the root's: a line that is one of `boundaries` ends it, with
// or without an empty line. `ofMessage`: the block of an embedded message, which may have mbox lines in
// front.
HeaderSpan scanInnerHeader(std::string_view text, std::size_t begin, bool ofMessage, const Limits& limits,
                           const OpenBoundaries& boundaries);

} // namespace quzo::platform
