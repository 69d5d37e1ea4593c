// The limit on notifications, for one mail that is about to be stored.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/mta/notice_ledger.h"

namespace quzo::platform {

// Counts the mail for each recipient; unless keep() says that it was stored, all of it is taken back when the
// object goes. For one thread.
class NoticeRound {
public:
    // `notice` names the rule and the subject. `ledger` outlives it.
    NoticeRound(NoticeLedger& ledger, unsigned limit, Notice notice, std::int64_t now)
        : ledger_(ledger), limit_(limit), now_(now), notice_(std::move(notice)) {}
    NoticeRound(const NoticeRound&) = delete;
    NoticeRound& operator=(const NoticeRound&) = delete;
    ~NoticeRound();

    // Takes those off the list who have had as many as they may, each said at level 2. Somebody who is named
    // twice counts once. Called once; throws std::bad_alloc.
    void sift(std::vector<std::string>& recipients);

    void keep() noexcept { kept_ = true; }

private:
    NoticeLedger& ledger_;
    unsigned limit_;
    std::int64_t now_;
    Notice notice_;                                     // of the recipient last counted
    std::vector<std::pair<std::string, bool>> counted_; // and whether they get it
    bool kept_ = false;
};

} // namespace quzo::platform
