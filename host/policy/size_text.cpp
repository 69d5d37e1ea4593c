// A decimal number with at most one letter behind it.
#include "host/policy/size_text.h"

#include <charconv>
#include <limits>

namespace quzo::host {

std::optional<std::uint64_t> parseSize(std::string_view text) {
    std::uint64_t unit = 1;
    if (!text.empty()) {
        switch (text.back() | 0x20) {
            case 'k':
                unit = std::uint64_t{1} << 10U;
                break;
            case 'm':
                unit = std::uint64_t{1} << 20U;
                break;
            case 'g':
                unit = std::uint64_t{1} << 30U;
                break;
            default:
                break;
        }
    }
    if (unit != 1) {
        text.remove_suffix(1);
    }
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    if (error != std::errc{} || end != text.data() + text.size() || number > kMost / unit) {
        return std::nullopt;
    }
    return number * unit;
}

} // namespace quzo::host
