// Limits of what the platform reads of a message.
#pragma once

#include <cstddef>
#include <limits>

namespace quzo::platform {

// No message may be larger, whatever the settings say: lengths of 2 GiB and more do not fit everywhere.
constexpr std::size_t kMaxMessageBytes = std::numeric_limits<int>::max();

// Checked while a message is scanned, before anything is allocated for a part. 0 means no limit.
struct Limits {
    std::size_t messageBytes = 0;         // larger messages are refused
    std::size_t headerBytes = 32U << 20U; // of one header block
    std::size_t nesting = 100;            // levels of multiparts and embedded messages
    std::size_t parts = 10000;            // entities of one message
    std::size_t headerFields = 100000;    // of one header block, and of all before a part is added
    std::size_t recipients = 50000;       // that a header may name, where there is no envelope beside it

    friend bool operator==(const Limits&, const Limits&) = default;
};

} // namespace quzo::platform
