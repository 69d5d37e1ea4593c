// What the manager that started this process as a service is told of it.
#pragma once

#include <string_view>

namespace quzo::host {

// Sends a state such as "READY=1" to the socket that $NOTIFY_SOCKET names, as systemd reads it. Does nothing
// when the process is no such service, and when nobody takes it.
void tellServiceManager(std::string_view state);

} // namespace quzo::host
