// A message as it goes over the wire behind DATA.
//
// Whatever ends a line in the stored message (LF, CR or CRLF) becomes exactly one CRLF before dots are
// doubled, so no two servers can disagree about where the message ends. Every other byte stays.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/queue/queue_store.h"

namespace quzo::platform {

// For one message, which comes in pieces of any size. For one thread.
class WireEncoder {
public:
    // Adds what the piece is on the wire.
    void add(std::string_view piece, std::string& out);

    // Adds what comes last: the end of an unfinished line, and the line that ends the message.
    void finish(std::string& out);

private:
    bool lineStart_ = true;
    bool carriageReturn_ = false; // the last byte was one; its line end is written
};

// What a server is told of a message before it comes.
struct WireFacts {
    std::uint64_t size = 0; // bytes with line ends of two, without doubled dots
    bool eightBit = false;  // some byte is above 127
};

// Reads the message once. False when it could not be read.
bool measureMessage(const MessageWriter& message, WireFacts& out);

} // namespace quzo::platform
