// The envelope. See envelope.h.
//
// Recipients are kept as plain texts, since lists of 50,000 occur and most callers want the texts; the
// address objects of the interface are made only for callers that ask for one.
#include "platform/message/envelope.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"

namespace quzo::platform {

class Envelope::Address final : public KvMsgAddress {
public:
    Address(std::string address, std::string name) : address_(std::move(address)), name_(std::move(name)) {}
    ~Address() = default;

    const char* getAddress() const override { return address_.c_str(); }
    const char* getDisplayName() const override { return name_.c_str(); }
    const std::string& address() const { return address_; }

private:
    const std::string address_;
    const std::string name_;
};

Envelope::Envelope() = default;
Envelope::~Envelope() = default;

template <typename Texts>
int Envelope::read(const Texts& texts, std::vector<std::string>& addresses, std::vector<std::string>& names) {
    for (const auto& text : texts) {
        Mailbox mailbox;
        const int error = parseMailbox(text, mailbox);
        if (error != kErrorNone || mailbox.address.empty()) {
            return kErrorInvalidArgument;
        }
        addresses.push_back(std::move(mailbox.address));
        names.push_back(std::move(mailbox.displayName));
    }
    return kErrorNone;
}

const KvMsgAddress* Envelope::getSender() const { return sender_.get(); }

const std::string& Envelope::sender() const {
    static const std::string none;
    return sender_ ? sender_->address() : none;
}

int Envelope::setSender(const char* address) {
    return guarded("Setting the envelope sender", static_cast<int>(kErrorNoMemory), [&]() -> int {
        Mailbox mailbox;
        if (address == nullptr || parseMailbox(address, mailbox) != kErrorNone) {
            return kErrorInvalidArgument;
        }
        sender_ = std::make_unique<Address>(std::move(mailbox.address), std::move(mailbox.displayName));
        return kErrorNone;
    });
}

unsigned Envelope::getRecipientCount() const { return static_cast<unsigned>(recipients_.size()); }

const KvMsgAddress* Envelope::getRecipient(unsigned index) const {
    using Result = const KvMsgAddress*;
    return guarded("Reading an envelope recipient", Result(nullptr), [&]() -> Result {
        if (index >= recipients_.size()) {
            return nullptr;
        }
        addresses_.resize(recipients_.size());
        if (!addresses_[index]) {
            addresses_[index] = std::make_unique<Address>(recipients_[index], names_[index]);
        }
        return addresses_[index].get();
    });
}

int Envelope::insertRecipient(unsigned position, const char* address) {
    return guarded("Inserting an envelope recipient", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (address == nullptr) {
            return kErrorInvalidArgument;
        }
        std::vector<std::string> addresses;
        std::vector<std::string> names;
        const int error = read(splitRecipients(address), addresses, names);
        if (error != kErrorNone || addresses.empty() ||
            !std::all_of(addresses.begin(), addresses.end(), isOneAddress)) {
            return kErrorInvalidArgument;
        }
        const std::size_t count = recipients_.size() + addresses.size();
        if (count > std::min(recipients_.capacity(), names_.capacity())) {
            recipients_.reserve(2 * count); // so that the inserts below cannot fail half way
            names_.reserve(2 * count);
        }
        const auto at = static_cast<std::ptrdiff_t>(std::min<std::size_t>(position, recipients_.size()));
        const auto insert = [at](std::vector<std::string>& into, std::vector<std::string>& texts) {
            into.insert(into.begin() + at, std::make_move_iterator(texts.begin()),
                        std::make_move_iterator(texts.end()));
        };
        insert(recipients_, addresses);
        insert(names_, names);
        addresses_.clear();
        return kErrorNone;
    });
}

int Envelope::set(std::string_view sender, const std::vector<std::string>& list) {
    Mailbox from;
    std::vector<std::string> addresses;
    std::vector<std::string> names;
    addresses.reserve(list.size());
    names.reserve(list.size());
    if (parseMailbox(sender, from) != kErrorNone || read(list, addresses, names) != kErrorNone) {
        return kErrorInvalidArgument;
    }
    auto newSender = std::make_unique<Address>(std::move(from.address), std::move(from.displayName));
    sender_ = std::move(newSender);
    recipients_ = std::move(addresses);
    names_ = std::move(names);
    addresses_.clear();
    return kErrorNone;
}

int Envelope::setRecipients(std::string_view list, bool append) {
    std::vector<std::string> addresses;
    std::vector<std::string> names;
    if (append) {
        addresses = recipients_;
        names = names_;
    }
    const int error = read(splitRecipients(list), addresses, names);
    if (error == kErrorNone) {
        recipients_ = std::move(addresses);
        names_ = std::move(names);
        addresses_.clear();
    }
    return error;
}

} // namespace quzo::platform
