// A message file has no envelope; its header is the next best thing.
#include "host/scan/envelope.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>

#include "host/scan/received_header.h"
#include "platform/base/ascii.h"
#include "platform/message/values/address_scanner.h"
#include "platform/message/values/mailbox.h"

namespace quzo::host {
namespace {

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
            if (!scanner_.plain(c)) {
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
    std::string_view list_;
    platform::AddressScanner scanner_;
    std::size_t at_ = 0;
    bool inAngle_ = false;
    bool inRoute_ = false;
};

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20; }

// The bare address of one entry; empty when there is none.
std::string addressOf(std::string_view entry) {
    entry = platform::trimmed(entry);
    if (entry.empty()) {
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
    if (std::none_of(entry.begin(), entry.end(), isControl)) {
        return platform::parseMailbox(entry, mailbox) == 0 ? mailbox.address : std::string();
    }
    std::string unfolded(entry);
    std::replace_if(unfolded.begin(), unfolded.end(), isControl, ' ');
    return platform::parseMailbox(unfolded, mailbox) == 0 ? mailbox.address : std::string();
}

std::string firstAddress(const std::vector<std::string_view>& values) {
    std::string first;
    for (const std::string_view value : values) {
        const bool none = eachAddress(value, [&](std::string address) {
            first = std::move(address);
            return false;
        });
        if (!none) {
            break;
        }
    }
    return first;
}

std::string senderOf(const ReceivedHeader& header) {
    for (const std::string_view raw : header.rawValues("Return-Path")) {
        if (platform::trimmed(raw) == "<>") {
            return {};
        }
        if (std::string address = firstAddress({raw}); !address.empty()) {
            return address;
        }
    }
    return firstAddress(header.rawValues("From"));
}

// Collects addresses, each once, ASCII case aside. A sorted set of numbers: it keeps no texts of its own, and
// no choice of addresses makes it slow, as one of a hash table would.
class Recipients {
public:
    // 0: no limit.
    explicit Recipients(std::size_t limit) : limit_(limit), seen_(Before{&addresses_}) {}
    Recipients(const Recipients&) = delete;
    Recipients& operator=(const Recipients&) = delete;

    // False when it is one too many.
    bool add(std::string address) {
        addresses_.push_back(std::move(address));
        if (!seen_.insert(static_cast<std::uint32_t>(addresses_.size() - 1)).second) {
            addresses_.pop_back();
        }
        return limit_ == 0 || addresses_.size() <= limit_;
    }

    std::vector<std::string> take() {
        seen_.clear();
        return std::move(addresses_);
    }

private:
    struct Before {
        const std::vector<std::string>* addresses;
        bool operator()(std::uint32_t a, std::uint32_t b) const {
            const std::string& left = (*addresses)[a];
            const std::string& right = (*addresses)[b];
            return std::lexicographical_compare(
                left.begin(), left.end(), right.begin(), right.end(),
                [](char x, char y) { return platform::asciiLower(x) < platform::asciiLower(y); });
        }
    };

    std::size_t limit_;
    std::vector<std::string> addresses_;
    std::set<std::uint32_t, Before> seen_; // places in addresses_
};

void readRecipients(const ReceivedHeader& header, std::size_t limit, Envelope& envelope) {
    Recipients recipients(limit);
    for (const char* name : {"To", "Cc", "Bcc"}) {
        for (const std::string_view value : header.rawValues(name)) {
            if (!eachAddress(value,
                             [&](std::string address) { return recipients.add(std::move(address)); })) {
                envelope.beyondLimit =
                    "names more than " + std::to_string(limit) + " recipients (limit_recipients)";
                return;
            }
        }
    }
    envelope.recipients = recipients.take();
}

} // namespace

bool eachAddress(std::string_view value, const std::function<bool(std::string)>& take) {
    EntrySplitter splitter(value);
    for (std::string_view entry; splitter.next(entry);) {
        std::string address = addressOf(entry);
        if (!address.empty() && !take(std::move(address))) {
            return false;
        }
    }
    return true;
}

Envelope envelopeOf(const platform::MailMessage& msg, const platform::Limits& limits,
                    const std::optional<std::string>& from, const std::vector<std::string>& to) {
    Envelope envelope;
    envelope.sender = from.value_or("");
    envelope.recipients = to;
    if (from && !to.empty()) {
        return envelope;
    }
    const ReceivedHeader header(msg.original(), limits);
    if (!from) {
        envelope.sender = senderOf(header);
    }
    if (to.empty()) {
        readRecipients(header, limits.recipients, envelope);
    }
    return envelope;
}

} // namespace quzo::host
