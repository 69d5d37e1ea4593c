// A stamp put into HTML.
#pragma once

#include <optional>
#include <string_view>

#include "platform/message/stamp/part_text.h"
#include "platform/message/stamp/text_ladder.h"

namespace quzo::platform {

// The HTML of a part with a block of its own for the stamp, `html` (UTF-8). The charset of the part stays:
// what it lacks is written as references, and so is everything beyond ASCII where a part is stored in 7 bits
// or claims two charsets. Nothing when the part cannot be read, or shows nothing but frames.
std::optional<StampedText> stampedHtml(const PartText& part, std::string_view html, StampPosition position);

} // namespace quzo::platform
