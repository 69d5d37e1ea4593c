// Identifiers for messages.
#pragma once

#include <string>

namespace quzo::platform {

// A new identifier of 2 to 36 characters of [0-9A-Z]: 24 of them, as it is. The first two are spread evenly,
// since queues sort their files into directories by them. No two are alike, in this process or in others, for
// all practical purposes. Callable from any thread; costs well below a microsecond.
std::string newIdentifier();

} // namespace quzo::platform
