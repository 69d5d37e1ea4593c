// A message file has no envelope; its header is the next best thing.
#include "host/scan/envelope.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "host/scan/received_header.h"
#include "platform/message/ascii.h"
#include "platform/message/mailbox.h"

namespace quzo::host {
namespace {

// An entry of more bytes is no address with a name.
constexpr std::size_t kMaxEntry = 4096;

// Splits an address list at its commas, and at the ':' and ';' of groups, whose names are dropped. A whole
// list is never given to a parser of addresses: what takes time in proportion for one entry need not for a
// hundred thousand.
class EntrySplitter {
public:
    explicit EntrySplitter(std::string_view list) : list_(list) {}

    // The next entry, blanks around it included; false at the end.
    bool next(std::string_view& entry) {
        if (at_ > list_.size()) {
            return false;
        }
        std::size_t begin = at_;
        for (; at_ < list_.size(); ++at_) {
            const char c = list_[at_];
            if (insideText(c)) {
                continue;
            }
            if (c == '<' && !inAngle_) {
                inAngle_ = true;
                // "<@a,@b:c@d>" is a route, an address all the same.
                inRoute_ = at_ + 1 < list_.size() && list_[at_ + 1] == '@';
            } else if (c == '>') {
                inAngle_ = inRoute_ = false;
            } else if ((c == ',' && !inRoute_) || c == ';') {
                break;
            } else if (c == ':' && !inAngle_) {
                begin = at_ + 1;
            }
        }
        entry = list_.substr(begin, at_ - begin);
        ++at_;
        inAngle_ = inRoute_ = false;
        return true;
    }

private:
    // Whether the character belongs to a quoted text, a comment or a domain literal, its ends included.
    bool insideText(char c) {
        if (escaped_) {
            escaped_ = false;
        } else if (c == '\\' && (quoted_ || comments_ != 0)) {
            escaped_ = true;
        } else if (quoted_) {
            quoted_ = c != '"';
        } else if (comments_ != 0) {
            comments_ += c == '(' ? 1U : 0U;
            comments_ -= c == ')' ? 1U : 0U;
        } else if (literal_) {
            literal_ = c != ']';
        } else {
            quoted_ = c == '"';
            comments_ = c == '(' ? 1 : 0;
            literal_ = c == '[';
            return quoted_ || comments_ != 0 || literal_;
        }
        return true;
    }

    std::string_view list_;
    std::size_t at_ = 0;
    std::size_t comments_ = 0; // how deep
    bool escaped_ = false;
    bool quoted_ = false;
    bool literal_ = false;
    bool inAngle_ = false;
    bool inRoute_ = false;
};

// The bare address of one entry; empty when there is none.
std::string addressOf(std::string_view entry) {
    entry = platform::trimmed(entry);
    if (entry.empty() || entry.size() > kMaxEntry) {
        return {};
    }
    // "Name <address>" is what nearly all look like; an address holds no angle brackets.
    if (entry.back() == '>') {
        std::string_view inner = entry.substr(entry.rfind('<') + 1);
        inner.remove_suffix(1);
        if (platform::validAddress(inner)) {
            return std::string(inner);
        }
    }
    platform::Mailbox mailbox;
    return platform::parseMailbox(entry, mailbox) == 0 ? mailbox.address : std::string();
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
    std::string text(value);
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20; }, ' ');
    std::vector<std::string> addresses;
    EntrySplitter splitter(text);
    for (std::string_view entry; splitter.next(entry);) {
        if (std::string address = addressOf(entry); !address.empty()) {
            addresses.push_back(std::move(address));
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
