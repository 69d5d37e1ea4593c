// A guard in front of the TOML parser.
#pragma once

#include <string_view>

namespace quzo::host {

// The line in which a key or value is nested deeper than `maxDepth` levels by dots; 0 when none is. The
// parser builds and destroys what a key names by recursion, so that a file of long keys would end the
// program. Time in proportion to the text, which may be anything.
unsigned tooDeepLine(std::string_view text, unsigned maxDepth);

} // namespace quzo::host
