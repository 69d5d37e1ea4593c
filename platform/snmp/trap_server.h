// The receiver of traps as settings name it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quzo::platform {

struct TrapServer {
    std::string host; // a name or an address, without brackets
    std::uint16_t port = 162;
};

// Reads "host", "host:port", "[IPv6]" or "[IPv6]:port". Nothing for any other text: what else Net-SNMP
// takes for a place (other transports, sockets, paths) is none here, and neither is a text with blanks or
// control characters.
std::optional<TrapServer> parseTrapServer(std::string_view text);

} // namespace quzo::platform
