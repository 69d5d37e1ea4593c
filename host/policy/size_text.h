// Sizes as policies write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quzo::host {

// Bytes in "12", "10K", "5M" or "1G" (or lower case; K is 1024). Nothing for any other text and for sizes
// that 63 bits cannot hold.
std::optional<std::uint64_t> parseSize(std::string_view text);

} // namespace quzo::host
