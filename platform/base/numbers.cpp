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

std::optional<std::int64_t> parseDuration(std::string_view text) {
    constexpr std::pair<char, std::int64_t> kUnits[] = {
        {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
    constexpr std::int64_t kMost = std::int64_t{86400} * 366 * 1000;
    if (text.size() < 2) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    const char* end = text.data() + text.size() - 1;
    const auto read = std::from_chars(text.data(), end, number);
    for (const auto& [unit, seconds] : kUnits) {
        if (unit == text.back() && read.ec == std::errc() && read.ptr == end && number * seconds <= kMost) {
            return number * seconds;
        }
    }
    return std::nullopt;
}

} // namespace quzo::platform
