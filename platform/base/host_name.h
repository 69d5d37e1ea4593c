// Names of hosts: of mail servers as settings give them, and this one's own.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// Whether the text may stand as a server in a URL and a command: a host name of letters, digits, hyphens and
// underscores in labels of 1 to 63 bytes, at most 253 in all, an IPv4 address, or an IPv6 address with or
// without brackets. `plain` then receives it without brackets.
bool readHostName(std::string_view text, std::string& plain);

// The name under which this host writes mail: `configured`, or the system's own name when that is empty;
// "localhost" when it has none. Asked of the system each time.
std::string ownHostName(const std::string& configured);

} // namespace quzo::platform
