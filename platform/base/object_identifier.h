// Object identifiers, the names of what SNMP tells about.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quzo::platform {

using ObjectIdentifier = std::vector<std::uint32_t>;

// Reads "1.3.6.1.4.1.8072" (a dot may stand in front): 2 to 64 numbers of 32 bits, the first two such as
// can be encoded. Nothing for any other text.
std::optional<ObjectIdentifier> parseObjectIdentifier(std::string_view text);

} // namespace quzo::platform
