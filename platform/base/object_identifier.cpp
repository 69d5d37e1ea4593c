// See object_identifier.h.
#include "platform/base/object_identifier.h"

#include <algorithm>

#include "platform/base/numbers.h"

namespace quzo::platform {

std::optional<ObjectIdentifier> parseObjectIdentifier(std::string_view text) {
    // Half of what SNMP allows: what stands below the identifier needs room too.
    constexpr std::size_t kMostNumbers = 64;
    ObjectIdentifier numbers;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
    }
    for (bool more = true; more;) {
        const std::size_t end = std::min(text.find('.'), text.size());
        const auto number = parseNumber<std::uint32_t>(text.substr(0, end));
        if (!number || numbers.size() == kMostNumbers) {
            return std::nullopt;
        }
        numbers.push_back(*number);
        more = end < text.size();
        text.remove_prefix(more ? end + 1 : end);
    }
    // The first two share a byte.
    const bool encodable = numbers.size() >= 2 && numbers[0] <= 2 && numbers[1] < 40;
    return encodable ? std::optional(std::move(numbers)) : std::nullopt;
}

} // namespace quzo::platform
