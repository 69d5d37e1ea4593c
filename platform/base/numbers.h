// Numbers in texts that people and other programs write.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quzo::platform {

// The number that the whole text is in decimal digits, with a '-' before them for types that have a sign;
// nothing for any other text and for numbers that the type cannot hold.
template <typename Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<Number>(number) : std::nullopt;
}

// Bytes in "12", "10K", "5M" or "1G" (or lower case; K is 1024). Nothing for any other text and for sizes
// that 63 bits cannot hold.
std::optional<std::uint64_t> parseSize(std::string_view text);

// Seconds in "90s", "15m", "12h", "30d" or "2w". Nothing for any other text and for more than a thousand
// years.
std::optional<std::int64_t> parseDuration(std::string_view text);

} // namespace quzo::platform
