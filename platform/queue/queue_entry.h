// What is known of a message in a queue.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

// The server that a message goes to in place of the configured next hop.
struct QueueRoute {
    std::string host;
    std::uint16_t port = 0;
};

// The entry of another queue that this one was made of.
struct QueueOrigin {
    std::string queue; // its name, such as "quarantine"
    std::string id;
};

// A recipient whom a server has refused for good, and what it said.
struct RefusedRecipient {
    std::string recipient;
    std::string answer;
};

// Texts may hold any bytes. Times are seconds since 1970.
struct QueueEntry {
    std::string id;     // see isQueueIdentifier()
    std::string sender; // envelope; empty: the null sender
    std::vector<std::string> recipients;
    std::string subject;                 // decoded, may be cut; for people
    std::optional<std::uint32_t> rule;   // the rule that put it here
    std::string ruleName;                //
    std::optional<std::uint32_t> areaId; // quarantine or archive area
    std::string area;                    // its description
    std::optional<std::uint32_t> aging;  // days until it may go; none: never
    std::int64_t stored = 0;             // when it came into this queue
    std::optional<std::int64_t> due;     // not before this; none: at once
    std::uint64_t size = 0;              // of the message in bytes
    std::uint32_t markEnd = 0; // bytes at the message's end that only the reprocessing marks brought: 0 to 2
    std::optional<QueueRoute> route;
    std::map<std::uint32_t, std::string> tokens; // scan tokens for the next pass, by their code
    std::string previous;                        // identifier of the pass or entry before; may be empty
    std::optional<QueueOrigin> origin;
    std::uint32_t attempts = 0;            // of delivery
    std::string reason;                    // why it is here, or why it is still here
    std::vector<RefusedRecipient> refused; // those of `recipients` who are not tried any more
    std::string split;  // identifier of the entry that some recipients have gone into; see queue_split.h
    std::string others; // fields that this version does not know, a JSON object; empty: none

    // Whether it has an age limit and that has passed.
    bool agedOut(std::int64_t now) const {
        return aging && now - stored >= std::int64_t{*aging} * 24 * 60 * 60;
    }
};

constexpr std::size_t kMaxEntryText = std::size_t{64} << 20U;

// The entry as one JSON object in plain ASCII with a line end. Bytes that are no UTF-8 are kept as "\xNN", a
// backslash as "\\". Returns 0 or a KvMsgError: kErrorLimit for a text above kMaxEntryText,
// kErrorInvalidArgument for an identifier that is none.
int encodeEntry(const QueueEntry& entry, std::string& out);

// Reads it back. Strict: each field must have its type and range, nothing may come twice, and nothing may
// follow. Returns 0 or a KvMsgError, and `out` may then hold anything: kErrorMalformedText, kErrorLimit for
// what is too long or too deep, kErrorNotSupported for a later format.
int decodeEntry(std::string_view text, QueueEntry& out);

} // namespace quzo::platform
