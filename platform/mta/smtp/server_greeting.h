// What a server says before the first message: its last answer, and what it can do beyond the old protocol.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quzo::platform {

// Filled line by line while a connection is made. For one thread.
class ServerGreeting {
public:
    // A line of the server. What it says of itself in its last EHLO reply counts: before and after TLS are
    // two different things.
    void line(std::string_view text);

    bool pipelining() const { return pipelining_; }
    bool eightBit() const { return eightBit_; }
    bool utf8() const { return utf8_; }
    bool hasSize() const { return size_; }
    std::uint64_t maxSize() const { return maxSize_; } // bytes; 0: it does not say

    // "554 5.7.1 go away"; empty before there was any. May be cut.
    const std::string& lastAnswer() const { return last_; }

private:
    void keyword(std::string_view text);

    bool inReply_ = false; // lines of a reply follow
    bool pipelining_ = false;
    bool eightBit_ = false;
    bool utf8_ = false;
    bool size_ = false;
    std::uint64_t maxSize_ = 0;
    std::string last_;
};

} // namespace quzo::platform
