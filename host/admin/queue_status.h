// How the queues of an installation stand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/base/fault.h"
#include "platform/queue/queues.h"

namespace quzo::host {

struct QueueStatus {
    platform::QueueKind queue = platform::QueueKind::Outgoing;
    std::size_t entries = 0;
    std::size_t unreadable = 0;         // of them
    std::size_t due = 0;                // of them, of a queue that is worked off: at once
    std::uint64_t bytes = 0;            // of their messages
    std::optional<std::int64_t> oldest; // when it came, in seconds since 1970
    std::optional<std::int64_t> next;   // when something is due that is not yet
};

// Of all queues that have a directory, in their usual order; one that does not exist yet is empty. `faults`
// receives what could not be read. `stopping` may be null; when it says so, the rest is not looked at.
std::vector<QueueStatus> queueStatus(platform::Queues& queues, std::int64_t now, Faults& faults,
                                     const std::function<bool()>& stopping = nullptr);

// A table with its head, for people, and one JSON object for each queue. `now` is in seconds since 1970.
std::string statusText(const std::vector<QueueStatus>& queues, std::int64_t now);
std::string statusJson(const std::vector<QueueStatus>& queues, std::int64_t now);

} // namespace quzo::host
