// Counting with nothing but numbers: who keeps the record, and what the time is, is the caller's business.
//
// What was held back is summed up when the window in which it came has passed. It is closed then, by the time
// alone, so that a second attempt at a summary sums up the same as the first.
#include "platform/mta/notice_record.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/base/utf8.h"
#include "platform/base/visible_text.h"

namespace quzo::platform {
namespace {

using Json = nlohmann::json;

constexpr std::uint64_t kFormat = 1;
constexpr std::uint64_t kMaxTime = std::uint64_t{1} << 53U; // so that differences of times cannot overflow
constexpr std::uint64_t kMaxCount = kMaxTime;

std::string lineOf(std::string_view text) {
    std::string line = visibleText(text);
    if (line.size() > NoticeRecord::kMaxSubject) {
        line.resize(validUtf8Prefix(std::string_view(line).substr(0, NoticeRecord::kMaxSubject)));
        line += "...";
    }
    return line;
}

void add(HeldNotices& held, const Notice& notice, std::int64_t now) {
    held.first = held.count == 0 ? now : std::min(held.first, now);
    held.last = std::max(held.last, now);
    ++held.count;
    if (held.firstSubjects.size() < HeldNotices::kFirst) {
        held.firstSubjects.push_back(lineOf(notice.subject));
        return;
    }
    held.lastSubjects.push_back(lineOf(notice.subject));
    if (held.lastSubjects.size() > HeldNotices::kLast) {
        held.lastSubjects.erase(held.lastSubjects.begin());
    }
}

// Reads one object; a field of another kind than it has to be spoils it.
class Reader {
public:
    explicit Reader(const Json& object) : object_(object), good_(object.is_object()) {}

    bool good() const { return good_; }

    std::uint64_t number(const char* name, std::uint64_t most) {
        const Json* value = find(name);
        if (value == nullptr || !value->is_number_unsigned() || value->get<std::uint64_t>() > most) {
            good_ = false;
            return 0;
        }
        return value->get<std::uint64_t>();
    }

    std::int64_t time(const char* name) { return static_cast<std::int64_t>(number(name, kMaxTime)); }

    std::string text(const char* name) {
        const Json* value = find(name);
        good_ = good_ && value != nullptr && value->is_string();
        return good_ ? value->get<std::string>() : std::string();
    }

    const Json& list(const char* name, std::size_t most) {
        static const Json none = Json::array();
        const Json* value = find(name);
        good_ = good_ && value != nullptr && value->is_array() && value->size() <= most;
        return good_ ? *value : none;
    }

    std::vector<std::string> texts(const char* name, std::size_t most) {
        std::vector<std::string> out;
        for (const Json& value : list(name, most)) {
            good_ = good_ && value.is_string();
            out.push_back(good_ ? value.get<std::string>() : std::string());
        }
        return out;
    }

private:
    const Json* find(const char* name) {
        const auto found = good_ ? object_.find(name) : object_.end();
        return good_ && found != object_.end() ? &*found : nullptr;
    }

    const Json& object_;
    bool good_;
};

bool readHeld(const Json& object, HeldNotices& out) {
    Reader reader(object);
    out.due = reader.time("due");
    out.first = reader.time("first");
    out.last = reader.time("last");
    out.count = reader.number("count", kMaxCount);
    out.firstSubjects = reader.texts("first_subjects", HeldNotices::kFirst);
    out.lastSubjects = reader.texts("last_subjects", HeldNotices::kLast);
    return reader.good() && out.count > 0;
}

} // namespace

bool HeldNotices::isDue(std::int64_t now) const { return now >= due || due - now > kNoticeWindow; }

bool NoticeRecord::windowPassed(std::int64_t now) const { return std::abs(now - start) >= kNoticeWindow; }

bool NoticeRecord::count(const Notice& notice, unsigned limit, std::int64_t now) {
    if (sent == 0 || windowPassed(now)) {
        start = now;
        sent = 0;
    }
    if (sent < limit) {
        ++sent;
        return true;
    }
    const std::int64_t end = start + kNoticeWindow;
    if (held.empty() || (held.back().isDue(now) && held.size() < kMaxHeld)) {
        held.emplace_back().due = end;
    } else if (held.back().isDue(now)) {
        held.back().due = end; // nobody sums up: two are enough to keep
    }
    add(held.back(), notice, now);
    return false;
}

void NoticeRecord::takeBack(bool went) {
    if (went) {
        sent -= sent > 0 ? 1 : 0;
        return;
    }
    if (held.empty()) {
        return;
    }
    HeldNotices& latest = held.back();
    std::vector<std::string>& subjects =
        latest.lastSubjects.empty() ? latest.firstSubjects : latest.lastSubjects;
    if (!subjects.empty()) {
        subjects.pop_back();
    }
    if (--latest.count == 0) {
        held.pop_back();
    }
}

NoticeRecord recordFor(const Notice& notice) {
    NoticeRecord record;
    record.recipient = notice.recipient;
    record.rule = notice.rule;
    record.ruleName = lineOf(notice.ruleName);
    return record;
}

std::string encodeNotices(const NoticeRecord& record) {
    Json object = {{"format", kFormat},     {"recipient", record.recipient},
                   {"rule", record.rule},   {"rule_name", record.ruleName},
                   {"start", record.start}, {"sent", record.sent}};
    Json& list = object["held"] = Json::array();
    for (const HeldNotices& held : record.held) {
        list.push_back({{"due", held.due},
                        {"first", held.first},
                        {"last", held.last},
                        {"count", held.count},
                        {"first_subjects", held.firstSubjects},
                        {"last_subjects", held.lastSubjects}});
    }
    return object.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

bool decodeNotices(std::string_view text, NoticeRecord& out) {
    if (text.size() > kMaxNoticeText) {
        return false;
    }
    const Json object = Json::parse(text.begin(), text.end(), nullptr, false);
    Reader reader(object);
    reader.number("format", kFormat);
    out = NoticeRecord();
    out.recipient = reader.text("recipient");
    out.rule = static_cast<std::uint32_t>(reader.number("rule", UINT32_MAX));
    out.ruleName = reader.text("rule_name");
    out.start = reader.time("start");
    out.sent = static_cast<std::uint32_t>(reader.number("sent", UINT32_MAX));
    bool good = true;
    for (const Json& held : reader.list("held", NoticeRecord::kMaxHeld)) {
        good = readHeld(held, out.held.emplace_back()) && good;
    }
    return good && reader.good();
}

} // namespace quzo::platform
