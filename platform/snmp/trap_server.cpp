// See trap_server.h.
#include "platform/snmp/trap_server.h"

#include <algorithm>

#include "platform/base/host_name.h"
#include "platform/base/numbers.h"

namespace quzo::platform {

std::optional<TrapServer> parseTrapServer(std::string_view text) {
    const bool bracketed = text.starts_with('[');
    const std::size_t host =
        bracketed ? std::min(text.find(']'), text.size() - 1) + 1 : std::min(text.find(':'), text.size());
    TrapServer server;
    if (!readHostName(text.substr(0, host), server.host)) {
        return std::nullopt;
    }
    if (host < text.size()) {
        const std::string_view digits = text.substr(host + 1);
        const auto port = parseNumber<std::uint16_t>(digits);
        if (text[host] != ':' || !port || *port == 0) {
            return std::nullopt;
        }
        server.port = *port;
    }
    return server;
}

} // namespace quzo::platform
