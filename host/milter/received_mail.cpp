// See received_mail.h.
#include "host/milter/received_mail.h"

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/base/numbers.h"

namespace quzo::host {
namespace {

constexpr std::size_t kMostReserved = std::size_t{64} << 20U; // of what a client merely claims
constexpr std::size_t kFirstReserved = std::size_t{32} << 10U;

std::string withoutBrackets(std::string_view argument) {
    if (argument.starts_with('<') && argument.ends_with('>')) {
        argument = argument.substr(1, argument.size() - 2);
    }
    return std::string(argument);
}

} // namespace

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
    bytes_.reserve(std::min(room, most_));
}

void ReceivedMail::addRecipient(std::string_view argument) {
    recipients_.push_back({std::string(argument), withoutBrackets(argument)});
}

void ReceivedMail::add(std::string_view piece) {
    const std::size_t room = most_ + 1 - std::min(most_ + 1, bytes_.size());
    bytes_.append(piece.substr(0, room));
    tooLarge_ = tooLarge_ || bytes_.size() > most_;
}

void ReceivedMail::addField(std::string_view name, std::string_view value, bool hidden) {
    fields_.push_back({std::string(name), std::string(value)});
    hidesFields_ = hidesFields_ || hidden;
    if (hidden) {
        return;
    }
    add(name);
    add(":");
    for (std::string_view rest = value;;) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, end);
        add(line.substr(0, line.size() - (line.ends_with('\r') && end < rest.size() ? 1 : 0)));
        add("\r\n");
        if (end == rest.size()) {
            break;
        }
        rest.remove_prefix(end + 1);
    }
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
    return std::move(bytes_);
}

} // namespace quzo::host
