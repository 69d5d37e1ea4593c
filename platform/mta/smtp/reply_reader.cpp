// See reply_reader.h. A reply of several lines bears its code in each; only the last has a blank behind it,
// or nothing.
#include "platform/mta/smtp/reply_reader.h"

#include <algorithm>

namespace quzo::platform {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The code at the beginning of a line; 0 when there is none.
int codeOf(std::string_view line) {
    if (line.size() < 3 || line[0] < '2' || line[0] > '5' || !isDigit(line[1]) || !isDigit(line[2]) ||
        (line.size() > 3 && line[3] != ' ' && line[3] != '-')) {
        return 0;
    }
    return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

} // namespace

ReplyReader::State ReplyReader::next(SmtpReply& out) {
    SmtpReply reply;
    std::size_t at = 0;
    for (;;) {
        const std::size_t end = bytes_.find('\n', at);
        if (end == std::string::npos || end >= kMaxReply) {
            return bytes_.size() >= kMaxReply ? State::Broken : State::More;
        }
        std::string_view line = std::string_view(bytes_).substr(at, end - at);
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        const int code = codeOf(line);
        if (code == 0 || (reply.code != 0 && code != reply.code)) {
            return State::Broken;
        }
        const bool last = line.size() == 3 || line[3] == ' ';
        if (reply.code == 0) {
            reply.text = line.substr(0, 3);
        }
        reply.code = code;
        if (line.size() > 4) {
            reply.text.append(" ").append(line.substr(4));
        }
        at = end + 1;
        if (last) {
            break;
        }
    }
    bytes_.erase(0, at);
    reply.text.resize(std::min(reply.text.size(), kMaxText));
    out = std::move(reply);
    return State::Whole;
}

} // namespace quzo::platform
