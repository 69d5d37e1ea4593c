// See queue_status.h.
#include "host/admin/queue_status.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

#include "host/admin/entry_report.h"
#include "host/admin/queue_desk.h"
#include "host/base/exit_code.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using Json = nlohmann::ordered_json;
using platform::ListedEntry;

void count(const ListedEntry& listed, std::int64_t now, QueueStatus& status) {
    ++status.entries;
    if (listed.error != kErrorNone) {
        ++status.unreadable;
        return;
    }
    status.bytes += listed.entry.size;
    status.oldest = std::min(status.oldest.value_or(listed.entry.stored), listed.entry.stored);
    if (checkRunnable(status.queue)) {
        return;
    }
    if (const std::int64_t due = listed.entry.due.value_or(0); due > now) {
        status.next = std::min(status.next.value_or(due), due);
    } else {
        ++status.due;
    }
}

} // namespace

std::vector<QueueStatus> queueStatus(platform::Queues& queues, std::int64_t now, Faults& faults,
                                     const std::function<bool()>& stopping) {
    std::vector<QueueStatus> out;
    for (const platform::QueueKind kind : platform::kQueueKinds) {
        const platform::QueueStore* store = queues.find(kind);
        if (store == nullptr) {
            continue;
        }
        QueueStatus& status = out.emplace_back();
        status.queue = kind;
        const int error = store->forEach([&](ListedEntry&& listed) {
            if (listed.state != platform::EntryState::Held) {
                count(listed, now, status);
            }
            return !stopping || !stopping();
        });
        if (error != kErrorNone) {
            const MaybeFault closed = closedPlace(store->directory());
            faults.push_back(closed ? *closed
                                    : Fault{kExitInputOutput, platform::queueName(kind),
                                            "not all of it could be read",
                                            "see the log for what the system said"});
        }
    }
    return out;
}

std::string statusText(const std::vector<QueueStatus>& queues, std::int64_t now) {
    std::string text = fmt::format("{:<11} {:>7} {:>6} {:>7} {:>7} {:>9}\n", "QUEUE", "ENTRIES", "SIZE",
                                   "OLDEST", "DUE", "NEXT IN");
    for (const QueueStatus& each : queues) {
        const bool run = !checkRunnable(each.queue);
        text +=
            fmt::format("{:<11} {:>7} {:>6} {:>7} {:>7} {:>9}{}\n", platform::queueName(each.queue),
                        each.entries, sizeText(each.bytes), each.oldest ? ageText(now - *each.oldest) : "-",
                        run ? std::to_string(each.due) : "-", each.next ? ageText(*each.next - now) : "-",
                        each.unreadable != 0 ? fmt::format("  {} cannot be read", each.unreadable) : "");
    }
    return text;
}

std::string statusJson(const std::vector<QueueStatus>& queues, std::int64_t now) {
    std::string text;
    for (const QueueStatus& each : queues) {
        const Json line = {{"queue", platform::queueName(each.queue)},
                           {"entries", each.entries},
                           {"unreadable", each.unreadable},
                           {"bytes", each.bytes},
                           {"oldest", each.oldest ? Json(utcText(*each.oldest)) : Json(nullptr)},
                           {"oldest_age", each.oldest ? Json(now - *each.oldest) : Json(nullptr)},
                           {"due", each.due},
                           {"next_due", each.next ? Json(utcText(*each.next)) : Json(nullptr)}};
        text += line.dump(-1, ' ', true) + '\n';
    }
    return text;
}

} // namespace quzo::host
