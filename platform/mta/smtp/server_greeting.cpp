// See server_greeting.h.
#include "platform/mta/smtp/server_greeting.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/base/numbers.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kMaxAnswer = 1000; // bytes that are kept

} // namespace

void ServerGreeting::line(std::string_view text) {
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    if (text.size() < 3) {
        return;
    }
    const bool first = !inReply_;
    inReply_ = text.size() > 3 && text[3] == '-';
    if (first) {
        last_.clear();
    }
    last_.append(first ? "" : " ").append(text.substr(first ? 0 : std::min<std::size_t>(4, text.size())));
    last_.resize(std::min(last_.size(), kMaxAnswer));
    if (!text.starts_with("250")) {
        return;
    }
    if (first) {
        pipelining_ = eightBit_ = utf8_ = size_ = false;
        maxSize_ = 0;
    } else if (text.size() > 4) {
        keyword(text.substr(4));
    }
}

void ServerGreeting::keyword(std::string_view text) {
    const std::size_t blank = std::min(text.find(' '), text.size());
    const std::string_view name = text.substr(0, blank);
    pipelining_ = pipelining_ || equalsNoCase(name, "PIPELINING");
    eightBit_ = eightBit_ || equalsNoCase(name, "8BITMIME");
    utf8_ = utf8_ || equalsNoCase(name, "SMTPUTF8");
    if (equalsNoCase(name, "SIZE")) {
        size_ = true;
        maxSize_ = parseNumber<std::uint64_t>(text.substr(std::min(blank + 1, text.size()))).value_or(0);
    }
}

} // namespace quzo::platform
