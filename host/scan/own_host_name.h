// The name under which this host writes mail.
#pragma once

#include <string>

namespace quzo::host {

// `configured`, or the system's own name when that is empty; "localhost" when it has none.
std::string mailHostName(const std::string& configured);

} // namespace quzo::host
