// What became of one message.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quzo::host {

enum class Outcome : std::uint8_t {
    Unchanged, // goes on, byte for byte
    Modified,  // goes on as it now stands
    Consumed,  // an action took it out of delivery
    Deferred,  // could not be handled now; it stays where it was and is tried again
    Failed,    // cannot be handled; it stays where it was
};

// "unchanged", "modified", "consumed", "deferred", "failed".
const char* outcomeName(Outcome outcome);

struct ScanError {
    int code = 0; // a KvMsgError
    std::string text;
    std::string advice{}; // what to do about it; may be empty
};

struct ActionResult {
    const char* type = ""; // the policy's name of the type; static storage
    bool ok = false;
    bool consumed = false; // the action took the message out of delivery
    bool skipped = false;  // not run, since the message was consumed before
};

struct RuleResult {
    std::uint32_t id = 0;
    std::string name;
    std::vector<ActionResult> actions; // those that were tried, in order
};

struct ScanResult {
    Outcome outcome = Outcome::Unchanged;
    bool envelopeChanged = false;   // it goes on to others, or from another, than it was received with
    std::optional<ScanError> error; // set when deferred or failed; may be set when consumed
    std::vector<std::string> marks; // for later stages: virus-clean, encrypt, decrypt, re-encrypt; once each
    std::vector<RuleResult> rules;  // that matched, in order
    std::vector<std::string> warnings;

    // Whether the message is to be delivered.
    bool goesOn() const { return outcome == Outcome::Unchanged || outcome == Outcome::Modified; }
};

} // namespace quzo::host
