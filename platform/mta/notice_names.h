// Names in the ledger of notifications, and of what is made from it: digests, so that no file is named by
// what a message says.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/ascii.h"
#include "platform/mta/notice_record.h"
#include "platform/queue/queue_names.h"

namespace quzo::platform {

// Of a recipient and a rule; the case of the address makes no difference.
inline std::string noticeIdentifier(std::string_view recipient, std::uint32_t rule) {
    return derivedIdentifier("notices", std::to_string(rule) + "\n" + lowered(recipient));
}

// Of the mail that sums up what is held there. What is due does not change any more, so neither does this.
inline std::string noticeSummaryIdentifier(std::string_view id, const HeldNotices& held) {
    return derivedIdentifier("notice summary", std::string(id) + "\n" + std::to_string(held.due) + "\n" +
                                                   std::to_string(held.count));
}

// Of a file that could not be understood.
inline std::string noticeAsideName(std::string_view id) { return std::string(id) + ".unreadable"; }

} // namespace quzo::platform
