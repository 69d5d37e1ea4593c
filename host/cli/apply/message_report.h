// What is told of one message.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/gateway/message_pipeline.h"

namespace quzo::host {

struct MessageReport {
    std::string file;
    std::optional<std::string> output; // where it was written
    MessageResult result;
    std::chrono::nanoseconds taken{0}; // from its bytes to where it was written
};

// One line of JSON with its line break, always valid UTF-8: bytes that are none become U+FFFD.
std::string jsonLine(const MessageReport& report);

// The same for people: a line "FILE: OUTCOME" and indented ones for rules, marks, envelope, queues and
// errors. Control characters are escaped.
std::string reportText(const MessageReport& report);

} // namespace quzo::host
