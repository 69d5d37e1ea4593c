// A message's envelope, and the view of it that the library gets.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/values/mailbox.h"
#include "quzo/core/message.h"

namespace quzo::platform {

// Sender and recipients. Every address in it has passed parseMailbox(); a change that fails changes
// nothing. The view is the envelope itself: there is nothing to free.
class Envelope final : public KvMsgMailSessionInfo {
public:
    Envelope();
    ~Envelope();
    Envelope(const Envelope&) = delete;
    Envelope& operator=(const Envelope&) = delete;

    const KvMsgAddress* getSender() const override;
    int setSender(const char* address) override;
    unsigned getRecipientCount() const override;
    const KvMsgAddress* getRecipient(unsigned index) const override;
    int insertRecipient(unsigned position, const char* address) override; // each has to be isOneAddress()

    bool hasSender() const { return sender_ != nullptr; }
    const std::string& sender() const; // empty without a sender, and for the null sender
    const std::vector<std::string>& recipients() const { return recipients_; }

    // Each replaces what it names. `list` holds one address an element; a list text is separated by ';'.
    int set(std::string_view sender, const std::vector<std::string>& list);
    int setRecipients(std::string_view list, bool append);

private:
    class Address;
    template <typename Texts>
    static int read(const Texts& texts, std::vector<std::string>& addresses, std::vector<std::string>& names);

    std::unique_ptr<Address> sender_; // null until one is set
    std::vector<std::string> recipients_;
    std::vector<std::string> names_;                          // display names, beside recipients_
    mutable std::vector<std::unique_ptr<Address>> addresses_; // made when asked for, dropped by a change
};

} // namespace quzo::platform
