// See notice_round.h.
#include "platform/mta/notice_round.h"

#include <map>

#include "platform/base/ascii.h"
#include "quzo/core/log.h"

namespace quzo::platform {

NoticeRound::~NoticeRound() {
    for (auto counted = counted_.rbegin(); !kept_ && counted != counted_.rend(); ++counted) {
        notice_.recipient.swap(counted->first);
        ledger_.takeBack(notice_, counted->second);
    }
}

void NoticeRound::sift(std::vector<std::string>& recipients) {
    std::map<std::string, bool> known;
    std::vector<std::string> left;
    left.reserve(recipients.size());
    counted_.reserve(recipients.size());
    for (std::string& recipient : recipients) {
        const auto [entry, isNew] = known.try_emplace(lowered(recipient), false);
        if (isNew) {
            notice_.recipient = recipient;
            std::string copy = recipient;
            entry->second = ledger_.count(notice_, limit_, now_);
            counted_.emplace_back(std::move(copy), entry->second); // has room: throws nothing
            if (!entry->second) {
                ActionLog::L2("The notification of rule %u to <%s> is held back: there were %u in an hour.",
                              static_cast<unsigned>(notice_.rule), recipient.c_str(), limit_);
            }
        }
        if (entry->second) {
            left.push_back(std::move(recipient));
        }
    }
    recipients.swap(left);
}

} // namespace quzo::platform
