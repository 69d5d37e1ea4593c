// Who is told what became of each message that a mail server hands over.
#pragma once

#include "host/gateway/message_line.h"
#include "host/gateway/message_pipeline.h"
#include "host/milter/milter_verdict.h"

namespace quzo::host {

// Any thread, several at once. What is told has happened: nothing here can change it, so nothing may throw.
class MilterWatch {
public:
    MilterWatch() = default;
    MilterWatch(const MilterWatch&) = delete;
    MilterWatch& operator=(const MilterWatch&) = delete;
    virtual ~MilterWatch() = default;

    // Of a message that came to its end, before the server hears the verdict. The name in `facts` is the
    // server's for the message. The time is that from the end of the data to here: the policy, and the edits
    // handed over. The error is that of edits which the server did not take.
    virtual void judged(const MessageResult& result, const MilterVerdict& verdict,
                        const MessageFacts& facts) noexcept = 0;

    // Memory ran out, and the message was refused for now.
    virtual void outOfMemory() noexcept = 0;
};

} // namespace quzo::host
