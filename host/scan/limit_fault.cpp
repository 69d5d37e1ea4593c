// The words for each limit, with its key in quzo.ini.
#include "host/scan/limit_fault.h"

#include <fmt/format.h>

#include <cstddef>
#include <string>

#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

ScanError fault(const std::string& text, const char* key) {
    return {kErrorLimit, fmt::format("{} ({})", text, key), kRaiseLimit};
}

} // namespace

ScanError limitFault(const platform::MailMessage& msg, const platform::Limits& limits) {
    using platform::LimitReached;
    switch (msg.limitReached()) {
        case LimitReached::MessageBytes:
            return fault(fmt::format("is larger than the limit of {} bytes", limits.messageBytes),
                         "limit_message");
        case LimitReached::HeaderBytes:
            return fault(fmt::format("has a header of more than {} bytes", limits.headerBytes),
                         "limit_header");
        case LimitReached::HeaderFields:
            return fault(fmt::format("has more than {} header fields", limits.headerFields), "limit_fields");
        case LimitReached::Nesting:
            return fault(fmt::format("nests its parts deeper than {} levels", limits.nesting),
                         "limit_nesting");
        case LimitReached::Parts:
            return fault(fmt::format("has more than {} parts", limits.parts), "limit_parts");
        case LimitReached::NoHeader:
            return {kErrorMalformedEntity, "is no mail: nothing in it looks like a header field",
                    "give the message itself, neither compressed nor in another format"};
        case LimitReached::None:
            break;
    }
    return fault("is beyond a limit", "limit_nesting, limit_parts, limit_fields");
}

} // namespace quzo::host
