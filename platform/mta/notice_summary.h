// The mails that tell of notifications which were held back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/mta/notice_ledger.h"
#include "platform/queue/queues.h"

namespace quzo::platform {

// How summaries are sent.
struct SummarySender {
    std::string mailFrom; // address, or a name with one; when it is neither, "QUZO@hostname" sends them
    std::string hostname;
};

// Puts one mail into the outgoing queue for each recipient and rule of whose notifications some were held
// back in an hour that is over: how many, when, and the subjects of the first and the latest. The ledger
// forgets them only when the mail is on the disk; whoever is killed in between has it found there by the
// next.
//
// `composed` counts the mails. Returns 0 or the first KvMsgError, kErrorNotSupported without an outgoing
// queue; what could not be sent waits. Callable from any thread, by several processes at once.
int composeDueSummaries(NoticeLedger& ledger, Queues& queues, const SummarySender& sender, std::int64_t now,
                        std::size_t& composed);

} // namespace quzo::platform
