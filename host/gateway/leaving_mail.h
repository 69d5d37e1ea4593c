// What goes on of a message, as it leaves this system.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/gateway/message_pipeline.h"

namespace quzo::host {

struct LeavingMail {
    std::string sender; // of the envelope; empty: the null sender
    std::vector<std::string> recipients;
    std::string message; // without reprocessing marks; every other byte as it stands
};

// Of a result that goes on; `hostname` completes the sender "QUZO". `markEnd` is that of the queue entry
// which the message was read from, see QueueEntry; 0 for one that comes from outside.
LeavingMail leavingMailOf(const MessageResult& result, const std::string& hostname,
                          std::uint32_t markEnd = 0);

} // namespace quzo::host
