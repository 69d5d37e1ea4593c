// Every part of a message that some reader may show.
//
// The message's own tree is one reading of it. Others see more: those who decode an attached message that is
// base64 or quoted-printable, who go by the other of two contradicting Content-Type fields, who take another
// boundary from a parameter, or to whom a lone carriage return ends a line. Each such reading that finds
// something else is made a message of its own here, with the same scan, and its parts are listed behind the
// message's own. That is for looking only: edits know the message's own entities and no others, so nothing
// inside a reading can be changed.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/message/mail_message.h"
#include "platform/message/structure/limits.h"

namespace quzo::platform {

struct SeenPart {
    KvMsgEntity* entity = nullptr; // never null; of the message, or of a reading that AllParts owns
    // The message's own entities in document order, the root being 0: which of them the part is, or lies in,
    // and the first behind all that lies in that one.
    std::size_t number = 0;
    std::size_t behind = 0;
    bool own = true; // it is the message's own entity `number`
};

// Reads the whole message when it is made; throws nothing but std::bad_alloc. The message must outlive it,
// and what it says is the message as it was received. One thread at a time.
//
// The limits are those of the message: its parts, header fields and levels and those of all readings together
// stay within them. All readings together are made from at most four times the message's bytes and 64 MiB,
// whatever is nested in what. What lies beyond is not listed, and limited() says so.
class AllParts {
public:
    AllParts(MailMessage& message, const Limits& limits);
    ~AllParts();
    AllParts(const AllParts&) = delete;
    AllParts& operator=(const AllParts&) = delete;

    // The message's own first, in document order.
    const std::vector<SeenPart>& parts() const { return parts_; }

    // Whether a limit kept something out.
    bool limited() const { return limited_; }

private:
    class Reader;

    std::vector<std::unique_ptr<MailMessage>> readings_;
    std::vector<SeenPart> parts_;
    bool limited_ = false;
};

} // namespace quzo::platform
