// A message file has no envelope; its header is the next best thing. GMime reads the addresses, so comments,
// groups, quotes and folds are its business.
#include "host/scan/envelope.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "host/scan/received_header.h"
#include "platform/message/ascii.h"
#include "platform/message/gmime_objects.h"
#include "platform/message/mailbox.h"

namespace quzo::host {
namespace {

// Longer values than this are no recipient list that anybody wrote.
constexpr std::size_t kMaxAddressField = std::size_t{8} << 20U;
// GMime goes one call deeper for each group that begins inside another, so a field of colons would use up
// the stack.
constexpr std::ptrdiff_t kMaxColons = 1000;

void appendMailbox(InternetAddress* entry, std::vector<std::string>& out) {
    const char* address = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(entry));
    if (address != nullptr && platform::validAddress(address)) {
        out.emplace_back(address);
    }
}

// A group inside a group is none that the grammar knows: it is passed over.
void appendMembers(InternetAddress* group, std::vector<std::string>& out) {
    InternetAddressList* members = internet_address_group_get_members(INTERNET_ADDRESS_GROUP(group));
    const int count = members != nullptr ? internet_address_list_length(members) : 0;
    for (int i = 0; i < count; ++i) {
        InternetAddress* entry = internet_address_list_get_address(members, i);
        if (INTERNET_ADDRESS_IS_MAILBOX(entry)) {
            appendMailbox(entry, out);
        }
    }
}

std::string senderOf(const ReceivedHeader& header) {
    for (const std::string_view raw : header.rawValues("Return-Path")) {
        if (platform::trimmed(raw) == "<>") {
            return {};
        }
        if (std::vector<std::string> addresses = addressesIn(raw); !addresses.empty()) {
            return std::move(addresses.front());
        }
    }
    std::vector<std::string> addresses = header.addresses("From");
    return addresses.empty() ? std::string() : std::move(addresses.front());
}

std::vector<std::string> recipientsOf(const ReceivedHeader& header) {
    std::vector<std::string> recipients;
    std::unordered_set<std::string> seen;
    for (const char* name : {"To", "Cc", "Bcc"}) {
        for (std::string& address : header.addresses(name)) {
            if (seen.insert(platform::lowered(address)).second) {
                recipients.push_back(std::move(address));
            }
        }
    }
    return recipients;
}

} // namespace

std::vector<std::string> addressesIn(std::string_view value) {
    std::vector<std::string> addresses;
    if (value.size() > kMaxAddressField || std::count(value.begin(), value.end(), ':') > kMaxColons) {
        return addresses;
    }
    platform::startGMime();
    const std::string text(value);
    const platform::GObjectHandle<InternetAddressList> list(
        internet_address_list_parse(nullptr, text.c_str()));
    if (list == nullptr) {
        return addresses;
    }
    const int count = internet_address_list_length(list.get());
    for (int i = 0; i < count; ++i) {
        InternetAddress* entry = internet_address_list_get_address(list.get(), i);
        if (INTERNET_ADDRESS_IS_GROUP(entry)) {
            appendMembers(entry, addresses);
        } else if (INTERNET_ADDRESS_IS_MAILBOX(entry)) {
            appendMailbox(entry, addresses);
        }
    }
    return addresses;
}

Envelope envelopeOf(const platform::MailMessage& msg, const std::optional<std::string>& from,
                    const std::vector<std::string>& to) {
    Envelope envelope;
    if (from && !to.empty()) {
        envelope.sender = *from;
        envelope.recipients = to;
        return envelope;
    }
    const ReceivedHeader header(msg.original(), platform::Limits{});
    envelope.sender = from ? *from : senderOf(header);
    envelope.recipients = to.empty() ? recipientsOf(header) : to;
    return envelope;
}

} // namespace quzo::host
