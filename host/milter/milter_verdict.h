// What a mail server is told to do.
#pragma once

#include <cstdint>
#include <string>

namespace quzo::host {

struct MilterVerdict {
    enum class Kind : std::uint8_t {
        GoOn,    // with the next step of the dialogue
        Accept,  // deliver it, with the edits
        Discard, // it is in a queue of ours, or deleted: the client is told that it was taken
        Later,   // a temporary refusal
        Refuse,  // for good
    };

    Kind kind = Kind::GoOn;
    // Of Later and Refuse, for the client: "451", "4.7.1" and one line of visible ASCII.
    const char* code = "";
    const char* status = "";
    std::string text{};
};

} // namespace quzo::host
