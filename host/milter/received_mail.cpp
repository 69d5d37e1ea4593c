// See received_mail.h.
#include "host/milter/received_mail.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/base/numbers.h"

namespace quzo::host {
namespace {

constexpr std::size_t kMostReserved = std::size_t{64} << 20U; // of what a client merely claims
constexpr std::size_t kFirstReserved = std::size_t{32} << 10U;
constexpr std::size_t kMostEnvelope = std::size_t{64} << 20U; // bytes of addresses

std::string withoutBrackets(std::string_view argument) {
    if (argument.starts_with('<') && argument.ends_with('>')) {
        argument = argument.substr(1, argument.size() - 2);
    }
    return std::string(argument);
}

} // namespace

ReceivedMail::ReceivedMail(const platform::Limits& limits) : limits_(limits) {
    if (limits_.messageBytes == 0) {
        limits_.messageBytes = platform::kMaxMessageBytes;
    }
}

void ReceivedMail::setSender(std::string_view argument, const std::vector<std::string_view>& parameters) {
    constexpr std::string_view kSize = "SIZE=";
    sender_ = withoutBrackets(argument);
    std::size_t room = kFirstReserved;
    for (const std::string_view parameter : parameters) {
        if (platform::startsWithNoCase(parameter, kSize)) {
            room += platform::parseNumber<std::size_t>(parameter.substr(kSize.size())).value_or(0);
        }
    }
    room = std::min(room, kMostReserved);
    bytes_.reserve(std::min(room, limits_.messageBytes));
}

void ReceivedMail::addRecipient(std::string_view argument) {
    envelopeBytes_ += 2 * argument.size() + sizeof(ReceivedRecipient);
    if (envelopeBytes_ > kMostEnvelope) {
        beyondLimit_ = "has too many recipients";
        return;
    }
    recipients_.push_back({std::string(argument), withoutBrackets(argument)});
}

void ReceivedMail::add(std::string_view piece) {
    if (!beyondLimit_.empty()) {
        return;
    }
    if (piece.size() > limits_.messageBytes - bytes_.size()) {
        beyondLimit_ =
            fmt::format("is larger than the limit of {} bytes (limit_message)", limits_.messageBytes);
        return;
    }
    bytes_.append(piece);
}

bool ReceivedMail::tooMuchWith(std::string_view name, std::string_view value) {
    headerBytes_ += name.size() + value.size();
    if (limits_.headerFields != 0 && fields_.size() >= limits_.headerFields) {
        beyondLimit_ = fmt::format("has more than {} header fields (limit_fields)", limits_.headerFields);
    } else if (limits_.headerBytes != 0 && headerBytes_ > limits_.headerBytes) {
        beyondLimit_ = fmt::format("has a header of more than {} bytes (limit_header)", limits_.headerBytes);
    }
    return !beyondLimit_.empty();
}

void ReceivedMail::addField(std::string_view name, std::string_view value, bool hidden) {
    if (!beyondLimit_.empty() || tooMuchWith(name, value)) {
        return;
    }
    fields_.push_back({std::string(name), std::string(value)});
    hidesFields_ = hidesFields_ || hidden;
    if (hidden) {
        return;
    }
    std::string line(name);
    line += ':';
    for (std::size_t at = 0; at < value.size(); ++at) {
        const std::string_view rest = value.substr(at + 1);
        if (value[at] == '\r' && rest.starts_with('\n')) {
            continue; // the LF tells
        }
        if (value[at] == '\n' && (rest.starts_with(' ') || rest.starts_with('\t'))) {
            line += "\r\n";
        } else {
            line += value[at] == '\r' || value[at] == '\n' ? ' ' : value[at];
        }
    }
    line += "\r\n";
    add(line);
}

void ReceivedMail::endHeader() {
    if (!headerEnded_) {
        headerEnded_ = true;
        add("\r\n");
        bodyBegin_ = bytes_.size();
    }
}

void ReceivedMail::addBody(std::string_view piece) {
    endHeader();
    add(piece);
}

std::string ReceivedMail::takeBytes() {
    endHeader();
    return bytes_.take();
}

} // namespace quzo::host
