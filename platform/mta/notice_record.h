// What one rule has told one recipient lately, and what was kept from them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

constexpr std::int64_t kNoticeWindow = 3600; // seconds in which notifications are counted together

// One notification to one recipient.
struct Notice {
    std::string recipient; // address of the envelope
    std::uint32_t rule = 0;
    std::string ruleName;
    std::string subject; // of the notification, in UTF-8
};

// Notifications of one recipient and rule that were held back, to be summed up together. Times are seconds
// since 1970.
struct HeldNotices {
    static constexpr std::size_t kFirst = 10;
    static constexpr std::size_t kLast = 10;

    std::int64_t due = 0; // from then on it is summed up, and nothing more is added
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::uint64_t count = 0;
    std::vector<std::string> firstSubjects; // at most kFirst, one visible line each
    std::vector<std::string> lastSubjects;  // at most kLast of those behind them, the latest

    bool isDue(std::int64_t now) const;
};

// A clock that is set back, or forward, by more than a window ends the window.
struct NoticeRecord {
    static constexpr std::size_t kMaxHeld = 2;
    static constexpr std::size_t kMaxSubject = 200; // bytes

    std::string recipient;
    std::uint32_t rule = 0;
    std::string ruleName; // one visible line
    std::int64_t start = 0;
    std::uint32_t sent = 0;        // in the window that began at `start`
    std::vector<HeldNotices> held; // in the order of their times; the last may still grow

    bool windowPassed(std::int64_t now) const;

    // Counts a notification. True: it is one of the first `limit` of the window, and goes out. False: it is
    // held back.
    bool count(const Notice& notice, unsigned limit, std::int64_t now);

    // Undoes the latest count() that gave `went`.
    void takeBack(bool went);
};

// A record without counts for the notice's recipient and rule.
NoticeRecord recordFor(const Notice& notice);

constexpr std::size_t kMaxNoticeText = std::size_t{64} << 10U;

// As one JSON object in plain ASCII with a line end.
std::string encodeNotices(const NoticeRecord& record);

// Reads it back; false for whatever encodeNotices() does not write. `out` may then hold anything.
bool decodeNotices(std::string_view text, NoticeRecord& out);

} // namespace quzo::platform
