// Handing a message to another mail server, whatever the way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/base/next_hop.h"
#include "platform/queue/queue_store.h"

namespace quzo::platform {

// What became of one recipient.
struct RecipientAnswer {
    enum class Fate : std::uint8_t {
        Accepted, // the server has the message for him
        Refused,  // it will never take it
        Later,    // not now, or nobody knows: try again
    };
    Fate fate = Fate::Later;
    std::string text; // what the server said last, or what kept us from asking it; may be any bytes
};

struct SendJob {
    NextHop hop;
    std::string sender; // empty: the null sender
    std::vector<std::string> recipients;
    MessageWriter message; // is called twice at least and gives the same each time
};

struct SendResult {
    std::vector<RecipientAnswer> answers; // as many as recipients, in their order
    bool unreachable = false;             // there was no connection to the server at all
};

// For one thread. Throws nothing but std::bad_alloc, and then no message has been handed over.
class MailSender {
public:
    MailSender() = default;
    MailSender(const MailSender&) = delete;
    MailSender& operator=(const MailSender&) = delete;
    virtual ~MailSender() = default;

    // Tries once, in one transaction.
    virtual SendResult send(const SendJob& job) = 0;

    // Nothing is to be sent for a while: connections may be closed.
    virtual void rest() {}
};

} // namespace quzo::platform
