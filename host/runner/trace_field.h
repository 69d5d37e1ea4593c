// The header field that a relay puts in front of what it passes on. Mail servers count these fields, so that
// mail that goes round in a circle ends after a while.
#pragma once

#include <cstdint>
#include <string>

#include "platform/queue/queue_store.h"

namespace quzo::host {

// "Received: by HOSTNAME (quzo) id ID; DATE", folded, with its line end. `now` is in seconds since 1970.
std::string traceField(const std::string& hostname, const std::string& id, std::int64_t now);

// Writes the field and then the message, every byte of it.
platform::MessageWriter behindField(std::string field, platform::MessageWriter message);

} // namespace quzo::host
