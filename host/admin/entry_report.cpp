// The three faces of an entry: a line of a table, everything for people, everything for programs.
#include "host/admin/entry_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <ctime>
#include <optional>
#include <string_view>

#include "platform/base/column_text.h"
#include "platform/base/visible_text.h"
#include "quzo/core/error_text.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

using Json = nlohmann::ordered_json;
using platform::EntryState;
using platform::ListedEntry;
using platform::QueueEntry;

constexpr std::int64_t kDay = 86400;

std::string timeText(std::int64_t time, bool utc) {
    const auto seconds = static_cast<std::time_t>(time);
    std::tm parts{};
    char text[64] = "";
    if ((utc ? ::gmtime_r(&seconds, &parts) : ::localtime_r(&seconds, &parts)) == nullptr ||
        std::strftime(text, sizeof text, utc ? "%Y-%m-%dT%H:%M:%SZ" : "%Y-%m-%d %H:%M:%S %z", &parts) == 0) {
        return std::to_string(time);
    }
    return text;
}

const char* stateName(const ListedEntry& entry) {
    return entry.state == EntryState::Claimed ? "claimed" : "waiting";
}

std::optional<std::int64_t> agesOutAt(const QueueEntry& entry) {
    return entry.aging ? std::optional(entry.stored + std::int64_t{*entry.aging} * kDay) : std::nullopt;
}

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json timeOrNull(const std::optional<std::int64_t>& time) {
    return time ? Json(timeText(*time, true)) : Json(nullptr);
}

Json numberAndName(const std::optional<std::uint32_t>& number, const std::string& name) {
    return !number && name.empty() ? Json(nullptr) : Json{{"id", orNull(number)}, {"name", name}};
}

std::string numberAndNameText(const std::optional<std::uint32_t>& number, const std::string& name) {
    const std::string shown = platform::visibleText(name);
    return !number ? shown : std::to_string(*number) + (shown.empty() ? "" : " ") + shown;
}

// "%VIRUSNAME%", or the number of a token without a name.
std::string tokenName(std::uint32_t code) {
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        if (static_cast<std::uint32_t>(entry->token) == code) {
            return entry->name;
        }
    }
    return std::to_string(code);
}

Json knownJson(const QueueEntry& entry, std::int64_t now) {
    Json tokens = Json::object();
    for (const auto& [code, value] : entry.tokens) {
        tokens[tokenName(code)] = value;
    }
    Json refused = Json::array();
    for (const platform::RefusedRecipient& each : entry.refused) {
        refused.push_back({{"recipient", each.recipient}, {"answer", each.answer}});
    }
    return {
        {"stored", timeText(entry.stored, true)},
        {"age", now - entry.stored},
        {"size", entry.size},
        {"sender", entry.sender},
        {"recipients", entry.recipients},
        {"subject", entry.subject},
        {"rule", numberAndName(entry.rule, entry.ruleName)},
        {"area", numberAndName(entry.areaId, entry.area)},
        {"aging", orNull(entry.aging)},
        {"ages_out", timeOrNull(agesOutAt(entry))},
        {"due", timeOrNull(entry.due)},
        {"route",
         entry.route ? Json{{"host", entry.route->host}, {"port", entry.route->port}} : Json(nullptr)},
        {"attempts", entry.attempts},
        {"reason", entry.reason},
        {"refused", std::move(refused)},
        {"previous", entry.previous},
        {"origin",
         entry.origin ? Json{{"queue", entry.origin->queue}, {"id", entry.origin->id}} : Json(nullptr)},
        {"tokens", std::move(tokens)},
    };
}

// Lines "name: value"; empty values are left out.
class Facts {
public:
    void add(std::string_view name, const std::string& value) {
        if (!value.empty()) {
            text_ += fmt::format("{:<12} {}\n", std::string(name) + ":", value);
        }
    }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

// Whether its entries are on their way: then what has been tried counts.
bool isWorkedOff(platform::QueueKind queue) {
    return queue != platform::QueueKind::Quarantine && queue != platform::QueueKind::Archive;
}

std::string deliveryLine(platform::QueueKind queue, const QueueEntry& entry, const std::string& sender,
                         std::int64_t now) {
    std::string recipient = entry.recipients.empty() ? "nobody" : entry.recipients.front();
    recipient += entry.recipients.size() > 1 ? fmt::format(" +{}", entry.recipients.size() - 1) : "";
    const std::int64_t due = entry.due.value_or(0);
    const std::string next = queue == platform::QueueKind::Failed ? "-"
                             : due > now                          ? ageText(due - now)
                                                                  : "now";
    std::string line =
        fmt::format("{:<26} {:>5} {:>6} {} {} {:>5} {:>5} {}", entry.id, ageText(now - entry.stored),
                    sizeText(entry.size), platform::tableText(sender, 24), platform::tableText(recipient, 24),
                    entry.attempts, next, platform::tableText(entry.reason, 60, false));
    line.resize(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

std::string agingText(const QueueEntry& entry) {
    return entry.aging ? fmt::format("{} (after {} days)", timeText(*agesOutAt(entry), false), *entry.aging)
                       : "never";
}

void addKnown(const QueueEntry& entry, std::int64_t now, Facts& facts) {
    facts.add("stored",
              fmt::format("{} ({} ago)", timeText(entry.stored, false), ageText(now - entry.stored)));
    facts.add("size", fmt::format("{} bytes", entry.size));
    facts.add("sender", "<" + platform::visibleText(entry.sender) + ">");
    for (const std::string& recipient : entry.recipients) {
        facts.add("recipient", "<" + platform::visibleText(recipient) + ">");
    }
    facts.add("subject", platform::visibleText(entry.subject));
    facts.add("rule", numberAndNameText(entry.rule, entry.ruleName));
    facts.add("area", numberAndNameText(entry.areaId, entry.area));
    facts.add("ages out", agingText(entry));
    facts.add("due", entry.due ? timeText(*entry.due, false) : std::string());
    facts.add("route", entry.route ? fmt::format("{} port {}", platform::visibleText(entry.route->host),
                                                 entry.route->port)
                                   : std::string());
    facts.add("attempts", entry.attempts == 0 ? std::string() : std::to_string(entry.attempts));
    facts.add("reason", platform::visibleText(entry.reason));
    for (const platform::RefusedRecipient& each : entry.refused) {
        facts.add("refused",
                  "<" + platform::visibleText(each.recipient) + "> " + platform::visibleText(each.answer));
    }
    facts.add("previous", platform::visibleText(entry.previous));
    facts.add("came from", entry.origin ? platform::visibleText(entry.origin->queue) + "/" + entry.origin->id
                                        : std::string());
    for (const auto& [code, value] : entry.tokens) {
        facts.add(tokenName(code), platform::visibleText(value));
    }
}

} // namespace

const char* entryErrorText(int error) {
    switch (error) {
        case kErrorMalformedText:
            return "what is known of it is damaged";
        case kErrorNotSupported:
            return "it was written by a later version of quzo";
        case kErrorLimit:
            return "it is larger than an entry may be";
        default:
            return KVMSGERR::I2A(error);
    }
}

std::string sizeText(std::uint64_t size) {
    constexpr std::string_view kUnits = "KMGT";
    if (size < 1024) {
        return std::to_string(size);
    }
    double value = static_cast<double>(size) / 1024;
    std::size_t unit = 0;
    while (value >= 999.5 && unit + 1 < kUnits.size()) {
        value /= 1024;
        ++unit;
    }
    return value < 9.95 ? fmt::format("{:.1f}{}", value, kUnits[unit])
                        : fmt::format("{:.0f}{}", value, kUnits[unit]);
}

std::string utcText(std::int64_t time) { return timeText(time, true); }

std::string ageText(std::int64_t seconds) {
    constexpr std::pair<std::int64_t, char> kUnits[] = {{kDay, 'd'}, {3600, 'h'}, {60, 'm'}};
    for (const auto& [length, unit] : kUnits) {
        if (seconds >= length) {
            return std::to_string(seconds / length) + unit;
        }
    }
    return std::to_string(seconds < 0 ? 0 : seconds) + 's';
}

std::string tableHead(platform::QueueKind queue) {
    if (isWorkedOff(queue)) {
        return fmt::format("{:<26} {:>5} {:>6} {:<24} {:<24} {:>5} {:>5} {}\n", "ID", "AGE", "SIZE", "SENDER",
                           "RECIPIENT", "TRIES", "NEXT", "LAST ANSWER");
    }
    return fmt::format("{:<26} {:>5} {:>6} {:<26} {:<32} {:>6} {}\n", "ID", "AGE", "SIZE", "SENDER",
                       "SUBJECT", "RULE", "AREA");
}

std::string tableLine(platform::QueueKind queue, const ListedEntry& listed, std::int64_t now) {
    if (listed.error != kErrorNone) {
        return fmt::format("{:<26} cannot be read: {}\n", listed.id, entryErrorText(listed.error));
    }
    const QueueEntry& entry = listed.entry;
    const std::string sender = entry.sender.empty() ? "<>" : entry.sender;
    if (isWorkedOff(queue)) {
        return deliveryLine(queue, entry, sender, now);
    }
    const std::string area = entry.area.empty() && entry.areaId ? std::to_string(*entry.areaId) : entry.area;
    std::string line = fmt::format(
        "{:<26} {:>5} {:>6} {} {} {:>6} {}", listed.id, ageText(now - entry.stored), sizeText(entry.size),
        platform::tableText(sender, 26), platform::tableText(entry.subject, 32),
        entry.rule ? std::to_string(*entry.rule) : "", platform::tableText(area, 24, false));
    line.resize(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

std::string entryJson(const char* queue, const ListedEntry& entry, std::int64_t now,
                      const std::string* header) {
    Json line = {{"queue", queue}, {"id", entry.id}, {"state", stateName(entry)}};
    if (entry.error != kErrorNone) {
        line["error"] = {{"code", entry.error}, {"text", entryErrorText(entry.error)}};
    } else {
        line.update(knownJson(entry.entry, now));
    }
    if (header != nullptr) {
        line["header"] = *header;
    }
    return line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

std::string releaseJson(const char* queue, const std::string& id, const platform::QueuedEntry& released,
                        bool dryRun) {
    const Json line = {{"queue", queue},
                       {"id", id},
                       {"released", {{"queue", released.queue}, {"id", released.id}}},
                       {"dry_run", dryRun}};
    return line.dump(-1, ' ', true) + '\n';
}

std::string entryText(const char* queue, const ListedEntry& entry, std::int64_t now) {
    Facts facts;
    facts.add("queue", queue);
    facts.add("id", entry.id);
    facts.add("state", stateName(entry));
    addKnown(entry.entry, now, facts);
    return facts.text();
}

std::string headerText(std::string_view header) {
    std::string out;
    while (!header.empty()) {
        const std::size_t end = std::min(header.find('\n'), header.size());
        std::string_view line = header.substr(0, end);
        header.remove_prefix(std::min(end + 1, header.size()));
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        // Folded lines may begin with a tab.
        const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
        out.append(begin > 0 ? "    " : "").append(platform::visibleText(line.substr(begin))).append("\n");
    }
    return out;
}

} // namespace quzo::host
