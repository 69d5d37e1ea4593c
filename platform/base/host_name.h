// Names of mail servers, as settings give them.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// Whether the text may stand as a server in a URL and a command: a host name of letters, digits, hyphens and
// underscores in labels of 1 to 63 bytes, at most 253 in all, an IPv4 address, or an IPv6 address with or
// without brackets. `plain` then receives it without brackets.
bool readHostName(std::string_view text, std::string& plain);

} // namespace quzo::platform
