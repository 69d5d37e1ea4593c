// SNMP traps.
#pragma once

namespace quzo {

// Sends a trap to `server` ("host" or "host:port"). `trapType` is the generic or specific number of the
// trap, `community` may be empty for the platform's default, `text` is the UTF-8 text it carries, and
// the last argument is always 0. Returns 0 or an error number. A trap that was sent may still be lost.
int SendSNMPTrap(const char* server, unsigned trapType, const char* community, const char* text,
                 int reserved);

} // namespace quzo
