// Why a scan saw less than the whole message, so that people can be told which limit to move.
#pragma once

#include <cstdint>

#include "platform/message/structure/limits.h"

namespace quzo::platform {

struct HeaderSpan;
struct Structure;

enum class LimitReached : std::uint8_t {
    None,
    MessageBytes,
    HeaderBytes,
    HeaderFields,
    Nesting,
    Parts,
    NoHeader // no limit: nothing looks like a header field
};

// Why this header block is not readable or was cut.
LimitReached limitReached(const HeaderSpan& header, const Limits& limits);

// The same of the root's header block, else the limit that cut the scan first; `structure` was scanned with
// these limits.
LimitReached limitReached(const Structure& structure, const Limits& limits);

} // namespace quzo::platform
