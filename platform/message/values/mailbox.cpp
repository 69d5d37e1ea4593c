// Envelope addresses. See mailbox.h.
//
// The plain forms are read here; GMime reads the ones with display names and comments. Whatever way an
// address comes, it passes validAddress() last, since what it holds goes into SMTP commands.
#include "platform/message/values/mailbox.h"

#include <algorithm>

#include "platform/base/ascii.h"
#include "platform/base/utf8.h"
#include "platform/message/values/gmime_addresses.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

// Where a quoted local part ends (behind the closing quote); npos when it does not.
std::size_t quotedEnd(std::string_view address) {
    for (std::size_t at = 1; at < address.size(); ++at) {
        if (address[at] == '\\') {
            ++at;
        } else if (address[at] == '"') {
            return at + 1;
        }
    }
    return std::string_view::npos;
}

int readWithGMime(const std::string& text, Mailbox& out) {
    const GObjectHandle<InternetAddressList> list = parseAddresses(text);
    if (!list || internet_address_list_length(list.get()) != 1) {
        return kErrorInvalidArgument;
    }
    InternetAddress* only = internet_address_list_get_address(list.get(), 0);
    if (!INTERNET_ADDRESS_IS_MAILBOX(only)) {
        return kErrorInvalidArgument;
    }
    const char* address = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(only));
    const char* name = internet_address_get_name(only);
    if (address == nullptr || !validAddress(address)) {
        return kErrorInvalidArgument;
    }
    const std::string_view shown = name == nullptr ? "" : name;
    out = {address, std::string(isUtf8(shown) ? shown : std::string_view())};
    return kErrorNone;
}

} // namespace

bool validAddress(std::string_view address) {
    if (address.empty() || address.size() > kMaxAddressBytes ||
        std::any_of(address.begin(), address.end(),
                    [](char c) { return isControlByte(c) || c == '<' || c == '>'; })) {
        return false;
    }
    std::string_view plain = address;
    if (plain.front() == '"') {
        const std::size_t end = quotedEnd(plain);
        if (end == std::string_view::npos || (end < plain.size() && plain[end] != '@')) {
            return false;
        }
        plain.remove_prefix(end);
    }
    return plain.find_first_of(" \"") == std::string_view::npos && isUtf8(address);
}

bool isOneAddress(std::string_view address) {
    if (!validAddress(address)) {
        return false;
    }
    constexpr std::string_view kMarks = ",;:()[]@\\";
    constexpr std::string_view kLiteralMarks = ",;()@\\";
    const std::size_t at = address.rfind('@');
    const std::string_view local = address.substr(0, at);
    if (local.empty() || (local.front() != '"' && local.find_first_of(kMarks) != std::string_view::npos)) {
        return false;
    }
    if (at == std::string_view::npos) {
        return true;
    }
    const std::string_view domain = address.substr(at + 1);
    const bool literal = domain.size() > 2 && domain.front() == '[' && domain.back() == ']';
    return domain.find_first_of(literal ? kLiteralMarks : kMarks) == std::string_view::npos &&
           !domain.empty() && domain.front() != '.' && domain.back() != '.' &&
           domain.find("..") == std::string_view::npos;
}

int parseMailbox(std::string_view text, Mailbox& out) {
    text = trimmed(text);
    if (hasControlsButTabs(text)) {
        return kErrorInvalidArgument;
    }
    std::string_view bare = text;
    if (bare.size() >= 2 && bare.front() == '<' && bare.back() == '>') {
        bare = trimmed(bare.substr(1, bare.size() - 2));
    }
    if (bare.empty() || validAddress(bare)) {
        out = {std::string(bare), {}};
        return kErrorNone;
    }
    // So long a text is neither copied nor read.
    return text.size() > kMaxGMimeAddressBytes ? kErrorInvalidArgument
                                               : readWithGMime(std::string(text), out);
}

std::vector<std::string_view> splitRecipients(std::string_view list) {
    std::vector<std::string_view> entries;
    bool quoted = false;
    std::size_t begin = 0;
    const auto close = [&](std::size_t end) {
        const std::string_view entry = trimmed(list.substr(begin, end - begin));
        if (!entry.empty()) {
            entries.push_back(entry);
        }
        begin = end + 1;
    };
    for (std::size_t at = 0; at < list.size(); ++at) {
        if (list[at] == '"') {
            quoted = !quoted;
        } else if (list[at] == '\\' && quoted) {
            ++at;
        } else if (list[at] == ';' && !quoted) {
            close(at);
        }
    }
    close(list.size());
    return entries;
}

} // namespace quzo::platform
