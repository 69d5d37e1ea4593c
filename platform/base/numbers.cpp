// A size is a decimal number with at most one letter behind it.
#include "platform/base/numbers.h"

#include <cstddef>
#include <limits>

#include "platform/base/ascii.h"

namespace quzo::platform {

std::optional<std::uint64_t> parseSize(std::string_view text) {
    unsigned shift = 0;
    if (!text.empty()) {
        const std::size_t unit = std::string_view("kmg").find(asciiLower(text.back()));
        if (unit != std::string_view::npos) {
            shift = static_cast<unsigned>(10 * (unit + 1));
            text.remove_suffix(1);
        }
    }
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    const auto number = parseNumber<std::uint64_t>(text);
    return number && *number <= kMost >> shift ? std::optional(*number << shift) : std::nullopt;
}

} // namespace quzo::platform
