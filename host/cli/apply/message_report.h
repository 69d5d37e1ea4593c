// What is told of one message.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/scan/envelope.h"
#include "host/scan/scan_result.h"
#include "platform/queue/queue_admin.h"

namespace quzo::host {

using platform::QueuedEntry;

struct MessageReport {
    std::string file;
    std::optional<std::string> id;     // none for a message that could not be read
    std::optional<std::string> output; // where it was written
    Envelope envelope;                 // as it now stands
    std::vector<QueuedEntry> queued;   // in order; of a dry run, those that there would be
    ScanResult scan;
};

// One line of JSON with its line break, always valid UTF-8: bytes that are none become U+FFFD.
std::string jsonLine(const MessageReport& report);

// The same for people: a line "FILE: OUTCOME" and indented ones for rules, marks, envelope, queues and
// errors. Control characters are escaped.
std::string reportText(const MessageReport& report);

} // namespace quzo::host
