// The header of mail that this system writes itself: what is released as an attachment, and whatever else is
// sent in its own name.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

// The time, in seconds since 1970, as a header field says it: in UTC, such as "Thu, 26 Nov 2026 13:48:34
// +0000". Of one that no calendar has, the beginning of 1970. Throws nothing but std::bad_alloc.
std::string headerDate(std::int64_t date);

struct OwnHeader {
    std::string sender;                  // address
    std::vector<std::string> recipients; // more than one is not named: some may be blind copies
    std::string subject;                 // UTF-8
    std::string identifier;              // of the message: it becomes its Message-ID
    std::string hostname;
    std::int64_t date = 0; // seconds since 1970
};

// The fields From, To, Subject, Date, Message-ID, MIME-Version and Auto-Submitted, each with its line end;
// those that tell of the content follow them, and are the caller's. A subject that cannot be written, because
// it is not UTF-8 or has more than kMaxEncodedValue bytes, is left out. Throws nothing but std::bad_alloc.
std::string ownHeaderFields(const OwnHeader& header, std::string_view lineEnd);

} // namespace quzo::platform
