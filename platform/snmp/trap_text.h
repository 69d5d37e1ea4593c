// The text of a trap.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// The text as valid UTF-8 of at most `most` bytes: bytes that are none become U+FFFD, and what is too long
// is cut between two characters.
std::string trapText(std::string_view text, std::size_t most);

} // namespace quzo::platform
