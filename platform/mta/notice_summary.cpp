// The text is that of the installation's language. What comes from messages and policies stands in it as
// visible lines only.
#include "platform/mta/notice_summary.h"

#include <ctime>
#include <string_view>
#include <utility>

#include "platform/base/visible_text.h"
#include "platform/config/resources.h"
#include "platform/message/compose/text_message.h"
#include "platform/message/values/mailbox.h"
#include "platform/queue/leaving_message.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"
#include "quzo/core/settings_source.h"

namespace quzo::platform {
namespace {

using Values = std::initializer_list<std::pair<std::string_view, std::string_view>>;

// A text of the bundle with its places filled in; values are not looked into again.
std::string localised(const char* key, std::string text, Values values) {
    KvCachedResbundle(kNoticeBundle).getString(key, text);
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const std::string_view rest = std::string_view(text).substr(at);
        std::size_t taken = 0;
        for (const auto& [place, value] : values) {
            if (taken == 0 && rest.starts_with(place)) {
                out.append(value);
                taken = place.size();
            }
        }
        if (taken == 0) {
            out.push_back(rest.front());
            taken = 1;
        }
        at += taken;
    }
    return out;
}

std::string timeText(std::int64_t time) {
    const auto seconds = static_cast<std::time_t>(time);
    std::tm local{};
    char text[64] = {};
    ::localtime_r(&seconds, &local);
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local)};
}

std::string subjectText(const NoticeRecord& record, const HeldNotices& held) {
    return localised("IDS_SUBJECT", "%COUNT% notifications held back: %RULE%",
                     {{"%COUNT%", std::to_string(held.count)}, {"%RULE%", visibleText(record.ruleName)}});
}

std::string bodyText(const NoticeRecord& record, const HeldNotices& held) {
    const std::string text = localised(
        "IDS_TEXT",
        "%COUNT% notifications of the rule \"%RULE%\" (%ID%) were held back between %FROM% and %TO%, "
        "because there were too many.",
        {{"%COUNT%", std::to_string(held.count)},
         {"%RULE%", visibleText(record.ruleName)},
         {"%ID%", std::to_string(record.rule)},
         {"%FROM%", timeText(held.first)},
         {"%TO%", timeText(held.last)}});
    std::string out = text + "\n\n" + localised("IDS_SUBJECTS", "Their subjects:", {}) + "\n\n";
    const auto list = [&out](const std::vector<std::string>& subjects) {
        for (const std::string& subject : subjects) {
            out.append("  ").append(visibleText(subject)).append("\n");
        }
    };
    list(held.firstSubjects);
    const std::uint64_t listed = held.firstSubjects.size() + held.lastSubjects.size();
    if (held.count > listed) {
        out.append("  ")
            .append(localised("IDS_OTHERS", "... (%COUNT% others)",
                              {{"%COUNT%", std::to_string(held.count - listed)}}))
            .append("\n");
    }
    list(held.lastSubjects);
    return out;
}

std::string addressOf(const SummarySender& sender) {
    Mailbox mailbox;
    const bool usable = parseMailbox(sender.mailFrom, mailbox) == 0 && isOneAddress(mailbox.address);
    return leavingSender(usable ? mailbox.address : "QUZO", sender.hostname);
}

// Whether the queue has the summary, from somebody who did not come to forget what it tells of; what is not
// whole of it is taken away. Only one may be at it, and the ledger's lock sees to that.
bool isStored(QueueStore& outgoing, const std::string& id, int& error) {
    error = outgoing.discardHeld(id);
    if (error != kErrorExists) {
        return false;
    }
    ListedEntry entry;
    error = outgoing.look(id, entry);
    if (error != kErrorNone || entry.message) {
        return error == kErrorNone;
    }
    // A crash on a disk without a journal has left it without its message.
    QueueClaim claim;
    error = outgoing.claim(id, claim) == ClaimOutcome::Taken ? claim.remove() : int{kErrorInputOutput};
    return false;
}

int storeSummary(QueueStore& outgoing, const SummarySender& sender, std::int64_t now,
                 const NoticeRecord& record, const HeldNotices& held, const std::string& id) {
    QueueEntry entry;
    entry.id = id;
    entry.sender = addressOf(sender);
    entry.recipients = {record.recipient};
    entry.subject = subjectText(record, held);
    entry.rule = record.rule;
    entry.ruleName = record.ruleName;
    entry.stored = now;
    const std::string message = textMessage({.sender = entry.sender,
                                             .recipients = entry.recipients,
                                             .subject = entry.subject,
                                             .identifier = id,
                                             .hostname = sender.hostname,
                                             .date = now},
                                            bodyText(record, held));
    return outgoing.store(entry, writerOf(std::string_view(message)));
}

} // namespace

int composeDueSummaries(NoticeLedger& ledger, Queues& queues, const SummarySender& sender, std::int64_t now,
                        std::size_t& composed) {
    composed = 0;
    QueueStore* outgoing = queues.find(QueueKind::Outgoing);
    if (outgoing == nullptr) {
        return kErrorNotSupported;
    }
    return ledger.sumUpDue(
        now, [&](const NoticeRecord& record, const HeldNotices& held, const std::string& id) -> int {
            int error = kErrorNone;
            if (isStored(*outgoing, id, error)) {
                return kErrorNone;
            }
            error = error == kErrorNone ? storeSummary(*outgoing, sender, now, record, held, id) : error;
            composed += error == kErrorNone ? 1 : 0;
            if (error == kErrorNone) {
                ActionLog::L2("%s tells <%s> of %llu notifications that were held back.", id.c_str(),
                              record.recipient.c_str(), static_cast<unsigned long long>(held.count));
            }
            return error;
        });
}

} // namespace quzo::platform
