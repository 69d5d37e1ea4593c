// A message in a message of our own: how something that was held is handed over without being delivered as it
// is.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

struct Covering {
    std::string sender;                  // address
    std::vector<std::string> recipients; // more than one is not named in the header: some may be blind copies
    std::string subject;                 // UTF-8, of the attached message
    std::string identifier;              // of the new message: it becomes its Message-ID
    std::string hostname;
    std::int64_t date = 0; // seconds since 1970
};

// A multipart/mixed message of one sentence and `message` as a message/rfc822 part, whose body has exactly
// those bytes, whatever they are. Line ends are those of the message's first line. Throws nothing but
// std::bad_alloc.
std::string attachedMessage(std::string_view message, const Covering& covering);

} // namespace quzo::platform
